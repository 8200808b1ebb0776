#include "lib/cli/screen_length.h"

#include "lib/base/io.h"
#include "lib/base/log.h"
#include "lib/base/parse_number.h"
#include "lib/base/plain_file.h"
#include "lib/base/unique_fd.h"

#include <cerrno>
#include <charconv>
#include <fcntl.h>
#include <optional>
#include <string_view>

namespace {

std::optional<int32_t> parse_length(std::string_view text) {
    int32_t value = 0;
    if (!parse_number(text, k_screen_length_min, k_screen_length_max, &value)) {
        return std::nullopt;
    }
    return value;
}

bool store(int32_t length) {
    char text[16];
    const auto [end, error] = std::to_chars(std::begin(text), std::end(text), length);
    return plain_file_replace(k_screen_length_file, {text, static_cast<size_t>(end - text)}, 0644);
}

} // namespace

int32_t screen_length() {
    char text[16];
    const unique_fd fd(open(k_screen_length_file, O_RDONLY | O_CLOEXEC));
    const ssize_t size = fd.valid() ? read_full(fd.get(), text, sizeof text) : 0;
    if (size <= 0) {
        return k_screen_length_default;
    }
    std::string_view number(text, static_cast<size_t>(size));
    if (number.ends_with('\n')) { // of an editor or of echo
        number.remove_suffix(1);
    }
    return parse_length(number).value_or(k_screen_length_default);
}

int32_t screen_length_read(const char *argument, cli_print_fn print, int32_t *length) {
    const std::optional<int32_t> read = parse_length(argument);
    if (!read) {
        print("%s\n\n", cli_error_text(k_cli_invalid_value));
        return k_cli_invalid_value;
    }
    *length = *read;
    return 0;
}

int32_t screen_length_set(const char *argument, cli_print_fn print) {
    int32_t length = 0;
    const int32_t refused = screen_length_read(argument, print, &length);
    if (refused != 0) {
        return refused;
    }
    if (!store(length)) {
        ipc_log_warn("%s: cannot write %s: %s", "screen_length_set", k_screen_length_file,
                     safe_strerror(errno));
        return k_screen_length_not_stored;
    }
    return 0;
}

void screen_length_show_config(cli_print_fn print) {
    const int32_t length = screen_length();
    if (length != k_screen_length_default) {
        print("set length %d\n", length);
    }
}
