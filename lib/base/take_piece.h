#pragma once

#include <algorithm>
#include <string_view>

/// Takes what stands in front of the first separator, or all of it, and moves `text` past that separator.
inline std::string_view take_piece(std::string_view &text, char separator = ' ') {
    const std::string_view piece = text.substr(0, text.find(separator));
    text.remove_prefix(std::min(piece.size() + 1, text.size()));
    return piece;
}
