#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

// JSON that is read by people, too, and compared line by line: members on one line each, long lists with a
// line for every element.

using json = nlohmann::ordered_json;

/// Appends a member of an object and the comma behind it.
void json_field(std::string &text, const char *key, const json &value);

/// Appends a member whose value is a list, without a comma behind it.
void json_lines(std::string &text, const char *key, const std::vector<json> &values);

/// Appends a member whose value is an object with these members, without a comma behind it.
void json_lines(std::string &text, const char *key, const std::vector<std::pair<std::string, json>> &members);
