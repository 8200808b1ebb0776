#pragma once

#include "lib/cmds/cmds_family.h"

#include <string>
#include <string_view>
#include <vector>

// Lines of the real vocabulary, made from its rows.

/// The words of a text without blanks at its ends, and what they were split from.
std::vector<std::string> words_of(std::string_view line);
std::string joined(const std::vector<std::string> &words);

/// A word that fits a word of a form's line; `other` is the other end of a range or of the choices.
std::string good_word(const std::string &pattern, bool other = false);

/// One that does not.
std::string bad_word(const std::string &pattern);

/// A form's line with good words.
std::vector<std::string> good_words(std::string_view line);
std::string good_line(std::string_view line);

/// A line that changes the setting: its last word is another one where the first choice holds anyway.
std::string changing_line(const cmds_form &form);

/// Every command of every family, once for each mode it stands in.
struct placed_row {
    const cmds_row *row;
    const cmds_mode *mode;
};
std::vector<placed_row> all_rows();
