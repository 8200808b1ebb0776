#pragma once

#include "lib/cmds/cmds_family.h"

#include <string>
#include <string_view>
#include <vector>

// The commands of the shell as a document, written from the rows that the shell runs them by.

/// The whole document, in Markdown.
std::string cmddoc_markdown();

// ---- its parts

/// How to read the document: types of arguments, who may type what.
std::string cmddoc_head();
/// The modes of the shell.
std::string cmddoc_modes();
/// The contents: families in their order, and the first words of all commands with links to them.
std::string cmddoc_contents();
/// A family with its commands.
std::string cmddoc_family(const cmds_family &family);

// ---- in the same way in all parts

/// What a family is called: its leading keyword, with the next one where several begin alike.
std::string cmddoc_title(const cmds_family &family);

/// A link to a heading, as GitHub makes its name.
std::string cmddoc_link(std::string_view text, std::string_view heading);

/// Words as they are typed, in a table.
std::string cmddoc_code(std::string_view words);
/// Text for people, in a table.
std::string cmddoc_text(std::string_view text);

std::vector<std::string_view> cmddoc_words(std::string_view line);

/// The names of a set of modes.
std::string cmddoc_mode_names(uint32_t modes);
