#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

// The values of arguments: what the words of a pattern leave open, and the one form in which each value is
// kept.

constexpr int32_t k_vlan_max = 4094; // the highest VLAN id, 802.1Q

/// From `low` to `high`, both included.
struct cmds_span {
    int32_t low;
    int32_t high;
    bool operator==(const cmds_span &) const = default;
};

/// Reads a list such as "1,3-5" of numbers from `low` to `high` into spans: ascending, and apart from each
/// other. Returns false when it is not one.
[[nodiscard]] bool cmds_read_list(std::string_view text, int32_t low, int32_t high,
                                  std::vector<cmds_span> *spans);

/// Writes spans as a list.
[[nodiscard]] std::string cmds_list_text(const std::vector<cmds_span> &spans);

/// Puts a value that fits the pattern word into the form in which it is kept: numbers without zeros in front,
/// lists in order, addresses in small letters. `longest` bounds free text and hexadecimal digits, 0 leaves
/// that to the type. Returns null, or why the value cannot be taken, for the user; then `kept` is undefined.
[[nodiscard]] const char *cmds_keep_value(std::string_view pattern, std::string_view value, size_t longest,
                                          std::string *kept);
