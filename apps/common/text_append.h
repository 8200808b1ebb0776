#pragma once

#include <string>

/// Appends printf-formatted text. Aborts when there is no memory for it.
void text_append(std::string &text, const char *format, ...) __attribute__((format(printf, 2, 3)));
