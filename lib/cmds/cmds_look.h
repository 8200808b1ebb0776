#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// The running configuration as commands look at it that tell what is configured.

/// A context with the lines of its settings, in order.
struct cmds_section {
    std::string name; // what follows the words that enter it; "" for the whole switch
    std::vector<std::string> lines;
};

/// The settings of the whole switch.
[[nodiscard]] cmds_section cmds_global_section();

/// The contexts that are entered by these words, in order.
[[nodiscard]] std::vector<cmds_section> cmds_sections(std::string_view words);

/// What follows these words in the first line that begins with them; nothing when there is none.
[[nodiscard]] std::optional<std::string> cmds_look_up(const cmds_section &in, std::string_view words);

/// The same for every such line.
[[nodiscard]] std::vector<std::string> cmds_look_up_all(const cmds_section &in, std::string_view words);

/// The same as a number; `otherwise` where there is no such line, or no number in it.
[[nodiscard]] int64_t cmds_look_up_number(const cmds_section &in, std::string_view words, int64_t otherwise);
