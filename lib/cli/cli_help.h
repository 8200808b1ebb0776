#pragma once

#include "lib/cli/cli_session.h"

#include <cstdint>

// What can stand in a line, listed for who is typing it. On the thread of the shell server.

/// Lists, for the mode of `session`, what can stand at position `count` + `offset` - 1 of a line (counted
/// from 0) after the `count` words typed: 1 is the next word, 0 the last one typed itself. A line each for
/// every word, with its help text, or the description of the complete command. Commands that a typed word is
/// only the beginning of a word of are left out. Returns the number of lines.
int32_t cli_list_next_words(const cli_session &session, int32_t offset, int32_t count,
                            const char *const *words);

/// Prints the help for an unfinished line as it is being typed: what can stand after it when it ends in a
/// blank or is empty, else the words that its last word is the beginning of. Words before may be
/// abbreviated; one that some command has as it stands is no abbreviation. Returns the number of lines.
int32_t cli_help_line(const cli_session &session, const char *line);

/// Prints what the last word of the line can be completed to, one a line; keywords and alternatives only,
/// the choices of each pattern word once. Returns the number of lines.
int32_t cli_complete_line(const cli_session &session, const char *line);
