#pragma once

#include <optional>
#include <string>
#include <vector>

// What stands after the bars of a line: "show running-config | section vlan | save FILE". A bar is a '|'
// after a blank, so that a regular expression may have one.

enum class filter_kind {
    include, // lines that match
    exclude, // lines that do not
    begin,   // from the first one that matches
    section, // contexts of a configuration whose entering line matches, each up to its "!"
    count,   // how many match
    save,    // into a file, which only its owner reads
};

struct filter {
    filter_kind kind;
    std::string argument; // a POSIX extended regular expression, or the name of the file
};

/// A line as it is typed: the command for the server, and what is done with its output.
struct filtered_line {
    std::string command;
    std::vector<filter> filters;
};

/// Splits a line. Nothing, after saying why on standard error, when what follows a bar is no filter, or a
/// regular expression is none.
std::optional<filtered_line> filter_split(const std::string &line);

/// Puts a text through filters. Nothing, after saying why, when it could not be saved.
std::optional<std::string> filter_apply(const std::vector<filter> &filters, std::string text);
