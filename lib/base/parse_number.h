#pragma once

#include <charconv>
#include <string_view>
#include <system_error>
#include <type_traits>

namespace parse_number_detail {

template<typename Number>
std::from_chars_result read(const char *first, const char *last, Number &number, int base) {
    if constexpr (std::is_floating_point_v<Number>) {
        return std::from_chars(first, last, number, std::chars_format::fixed);
    } else {
        return std::from_chars(first, last, number, base);
    }
}

} // namespace parse_number_detail

/// Reads a number that is the whole of `text` and in the type's range: digits, after a '-' for a signed type,
/// with a point among them for a floating one (no exponent, and no base); no '+', no prefix, no blanks.
/// Returns false, with `value` as it was, for anything else.
template<typename Number>
[[nodiscard]] bool parse_number(std::string_view text, Number *value, int base = 10) {
    Number number{};
    const char *const end = text.data() + text.size();
    const auto [stop, error] = parse_number_detail::read(text.data(), end, number, base);
    if (error != std::errc() || stop != end) {
        return false;
    }
    *value = number;
    return true;
}

/// The same for a number from `low` to `high`.
template<typename Number>
[[nodiscard]] bool parse_number(std::string_view text, std::type_identity_t<Number> low,
                                std::type_identity_t<Number> high, Number *value) {
    Number number{};
    if (!parse_number(text, &number) || !(number >= low && number <= high)) {
        return false;
    }
    *value = number;
    return true;
}
