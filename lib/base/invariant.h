#pragma once

#include <cstdint>

/// What a broken invariant prints. Some texts are looked for by the people who read the board's logs, so
/// source and line can be the printed ones rather than those of the file at hand.
struct invariant_site {
    const char *expression;
    const char *source; // a path; its folders and its extension are not shown
    int32_t line;
    const char *function;
};

/// Says "SOURCE:LINE: FUNCTION: Assertion `EXPRESSION' failed." on standard error and in the system log
/// (critical, by the program's name) and aborts the process, within a second even if nobody takes what is
/// said there.
[[noreturn]] void invariant_failed(const invariant_site &site);

/// Checked in every build type: says where and what, then aborts.
#define INVARIANT(condition)                                                                                 \
    ((condition) ? static_cast<void>(0)                                                                      \
                 : invariant_failed({#condition, __FILE__, __LINE__, static_cast<const char *>(__func__)}))

/// The same at this place, with the text that the log is known by.
#define INVARIANT_TEXT(condition, expression)                                                                \
    INVARIANT_AT(condition, expression, __FILE__, __LINE__, static_cast<const char *>(__func__))

/// The same with the text, source name, line and function that the log is known by.
#define INVARIANT_AT(condition, expression, source, line, function)                                          \
    ((condition) ? static_cast<void>(0) : invariant_failed({expression, source, line, function}))
