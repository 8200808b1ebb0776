#pragma once

#include <string>

// Documents that a program reads and writes whole. What fails is said on standard error, after `program`,
// with the file's name and the reason.

/// Reads a file. Returns false, with `text` undefined, when it cannot be read to its end.
[[nodiscard]] bool read_text_file(const char *program, const std::string &path, std::string &text);

/// Puts a file with `text` in the place of the one at `path`, which stays as it is when that fails (and false
/// is returned).
[[nodiscard]] bool write_text_file(const char *program, const std::string &path, const std::string &text);
