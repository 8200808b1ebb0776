#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

// A command line as it was typed, before the server sees it.

/// A word by its place in the line.
struct line_word {
    size_t begin;
    size_t end; // after it
};

/// The words before a comment.
std::vector<line_word> line_words(const std::string &line);

/// Whether there is nothing to run: blanks, or a comment, which begins with ';' or, at the line's beginning,
/// '#'.
bool line_is_empty(const std::string &line);

/// Whether the line is "!" alone, which separates the parts of a saved configuration.
bool line_is_separator(const std::string &line);

/// The part of a line that is asked about, when the line ends in '?'.
std::optional<std::string> line_question(const std::string &line);
