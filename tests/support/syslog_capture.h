#pragma once

#include <string>
#include <vector>

// Stands in place of the C library's system log in the test program that links it, so that a line is seen as
// the log daemon would get it. Safe in any thread.

struct syslog_line {
    std::string ident; // empty when the log was not open
    int options;
    int facility;
    int priority;
    std::string text;
};

/// Takes what was logged since the last call, by calls that have returned.
std::vector<syslog_line> syslog_take();

/// The texts alone of syslog_take, each behind its priority: "4 text".
std::vector<std::string> syslog_take_texts();

/// Also prints every line to standard error, as "syslog 4: text", for the regular expression of a death test.
void syslog_echo(bool on);
