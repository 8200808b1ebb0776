#include "lib/cli/cli_error.h"

#include <algorithm>
#include <iterator>

namespace {

struct error_row {
    int32_t code;
    const char *text;
};

constexpr error_row k_errors[] = {
    {k_cli_invalid_value, "% Invalid value"},
};

} // namespace

const char *cli_error_text(int32_t code) {
    const auto *row = std::find_if(std::begin(k_errors), std::end(k_errors),
                                   [code](const error_row &candidate) { return candidate.code == code; });
    return row != std::end(k_errors) ? row->text : "% Unknown error";
}
