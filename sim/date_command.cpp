#include "sim/date_command.h"

#include "sim/shell.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string_view>

namespace {

constexpr std::string_view k_locale = "LC_ALL=C "; // may stand in front: here dates are always told so
constexpr std::string_view k_command = "date ";
constexpr int k_failed = 1 << 8; // a wait status: exit status 1

constexpr const char *k_days[] = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
constexpr const char *k_months[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                    "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};

/// What stands after the command's name; an empty string when it is another command.
const char *arguments(const char *command) {
    if (std::string_view(command).starts_with(k_locale)) {
        command += k_locale.size();
    }
    return std::string_view(command).starts_with(k_command) ? command + k_command.size() : "";
}

/// Sets the clock from MMDDhhmmYYYY.ss.
int set_date(sim_state &state, const char *text) {
    tm date{};
    // NOLINTNEXTLINE(cert-err34-c): widths keep the numbers in range, the count tells whether all are there
    const int fields = std::sscanf(text, "%2d%2d%2d%2d%4d.%2d", &date.tm_mon, &date.tm_mday, &date.tm_hour,
                                   &date.tm_min, &date.tm_year, &date.tm_sec);
    if (fields != 6 || date.tm_mon < 1 || date.tm_mon > 12) {
        return k_failed;
    }
    date.tm_mon -= 1;
    date.tm_year -= 1900;
    const tm wanted = date;
    const time_t set = ::timegm(&date); // puts a 30th of February into March
    if (date.tm_mday != wanted.tm_mday || date.tm_hour != wanted.tm_hour) {
        return k_failed;
    }
    sim_store(state.clocks.ahead, static_cast<int32_t>(set - std::time(nullptr)));
    return 0;
}

/// Tells the date as `date` does in the C locale; what is done with it (`rest`) is the shell's work.
int tell_date(const sim_state &state, const char *rest) {
    const time_t now = std::time(nullptr) + sim_load(state.clocks.ahead);
    tm date{};
    ::gmtime_r(&now, &date);
    char *whole = nullptr;
    if (::asprintf(&whole, "told() { echo '%s %s %2d %02d:%02d:%02d UTC %04d'; }; told %s",
                   k_days[date.tm_wday], k_months[date.tm_mon], date.tm_mday, date.tm_hour, date.tm_min,
                   date.tm_sec, date.tm_year + 1900, rest) < 0) {
        errno = ENOMEM;
        return -1;
    }
    const int status = sim_shell_run(whole);
    std::free(whole);
    return status;
}

} // namespace

bool sim_date_wants(const char *command) {
    const char first = *arguments(command);
    return first == '>' || (first >= '0' && first <= '9');
}

int sim_date_run(sim_state &state, const char *command) {
    const char *rest = arguments(command);
    return *rest == '>' ? tell_date(state, rest) : set_date(state, rest);
}
