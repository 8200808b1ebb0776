#include "lib/time/sntp_clock.h"

#include "lib/base/result.h"
#include "lib/base/unique_fd.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <iterator>
#include <linux/rtc.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr const char *k_date_file = "/var/tmp/date.txt";
constexpr char k_new_file[] = "/var/tmp/date.XXXXXX"; // as mkstemp and mkdtemp take it
constexpr mode_t k_date_file_mode = 0644;
constexpr const char *k_clock_device = "/dev/rtc-dev";
constexpr int32_t k_leap_second = 60;
constexpr const char *k_month_names[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                         "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};

static_assert(sizeof(rtc_time) == 36);
static_assert(RTC_SET_TIME == 0x4024700A);

void run(const char *command) {
    // A failed command shows in the date that is read next; nothing else could be done about it.
    ignore_result(std::system(command));
}

/// Puts the file at `made` in the place of whatever lies at the date file's path; nothing there is opened.
bool publish(const char *made) {
    if (::rename(made, k_date_file) == 0) {
        return true;
    }
    // A directory is all that a file cannot replace. It goes out of the way, and away when it is empty.
    char aside[sizeof k_new_file];
    std::memcpy(aside, k_new_file, sizeof aside);
    if (errno != EISDIR || ::mkdtemp(aside) == nullptr) {
        return false;
    }
    ignore_result(::rename(k_date_file, aside)); // the second attempt tells whether it went
    ignore_result(::rmdir(aside));               // left where it holds something
    return ::rename(made, k_date_file) == 0;
}

/// Runs `date` and gives what it printed, as a string. Returns false after saying why on standard output.
/// Anybody may write in the directory, so the command prints into a new file under a name that nobody knows,
/// reached through its descriptor; only then does the file get its usual name.
bool run_date(char *text, size_t size) {
    char made[sizeof k_new_file];
    std::memcpy(made, k_new_file, sizeof made);
    const unique_fd file(::mkstemp(made)); // inherited by the command, hence without O_CLOEXEC
    if (!file.valid()) {
        std::printf("sntp_read_date: %s: %s!\n", k_new_file, std::strerror(errno));
        return false;
    }
    char command[64];
    std::snprintf(command, sizeof command, "LC_ALL=C date > /proc/self/fd/%d", file.get());
    run(command);
    const ssize_t length = ::read(file.get(), text, size - 1);
    text[length > 0 ? length : 0] = '\0';
    if (::fchmod(file.get(), k_date_file_mode) != 0 || !publish(made)) {
        // The date is known all the same.
        std::printf("sntp_read_date: %s: %s!\n", k_date_file, std::strerror(errno));
        ignore_result(::unlink(made));
    }
    return true;
}

int32_t month_number(const char *name) {
    for (size_t i = 0; i < std::size(k_month_names); i++) {
        if (std::strcmp(name, k_month_names[i]) == 0) {
            return static_cast<int32_t>(i) + 1;
        }
    }
    return 0;
}

/// Whether `text` is a date as `date` prints it in the C locale.
bool parse_date(const char *text, sntp_time &time) {
    char weekday[16];
    char month[16];
    char zone[32];
    // NOLINTNEXTLINE(cert-err34-c): widths keep the numbers in range, and all are checked
    if (std::sscanf(text, "%15s %15s %9d %9d:%9d:%9d %31s %9d", weekday, month, &time.day, &time.hour,
                    &time.minute, &time.second, zone, &time.year) != 8) {
        return false;
    }
    time.month = month_number(month);
    return time.month != 0 && time.year >= 1970 && time.year <= 9999 && time.day >= 1 &&
           time.day <= sntp_month_length(time.year, time.month) && time.hour >= 0 && time.hour <= 23 &&
           time.minute >= 0 && time.minute <= 59 && time.second >= 0 && time.second <= k_leap_second;
}

void set_both_clocks(const sntp_time &time, const char *command_end) {
    char command[128];
    std::snprintf(command, sizeof command, "date %02d%02d%02d%02d%04d.%d%s", time.month, time.day, time.hour,
                  time.minute, time.year, time.second, command_end);
    run(command);
    // Setting the date succeeds without a hardware clock; the failure has been printed.
    ignore_result(sntp_set_systime_to_rtc(time));
}

} // namespace

int32_t sntp_read_date(sntp_time *time) {
    char text[128];
    if (!run_date(text, sizeof text)) {
        return k_sntp_no_date;
    }
    sntp_time read{};
    if (!parse_date(text, read)) {
        std::printf("%s: date printed no date!\n", __func__);
        return k_sntp_no_date;
    }
    *time = read;
    return 0;
}

int32_t sntp_set_time(int32_t hour, int32_t minute, int32_t second) {
    if (hour < 0 || hour > 23) {
        return k_sntp_bad_hour;
    }
    if (minute < 0 || minute > 59) {
        return k_sntp_bad_minute;
    }
    if (second < 0 || second > 59) {
        return k_sntp_bad_second;
    }
    sntp_time time;
    if (sntp_read_date(&time) != 0) {
        return k_sntp_no_date;
    }
    time.hour = hour;
    time.minute = minute;
    time.second = second;
    set_both_clocks(time, "\n");
    return 0;
}

int32_t sntp_set_date(int32_t year, int32_t month, int32_t day) {
    if (year < 1970 || year > 2037) {
        return k_sntp_bad_year;
    }
    if (month < 1 || month > 12) {
        return k_sntp_bad_month;
    }
    if (day < 1 || day > sntp_month_length(year, month)) {
        return k_sntp_bad_day;
    }
    sntp_time time;
    if (sntp_read_date(&time) != 0) {
        return k_sntp_no_date;
    }
    time.year = year;
    time.month = month;
    time.day = day;
    set_both_clocks(time, "");
    return 0;
}

int32_t sntp_set_systime_to_rtc(const sntp_time &time) {
    // A failed open is left to show as a failed control call.
    const unique_fd device(::open(k_clock_device, O_WRONLY | O_CLOEXEC));
    rtc_time clock{};
    clock.tm_sec = time.second;
    clock.tm_min = time.minute;
    clock.tm_hour = time.hour;
    clock.tm_mday = time.day;
    clock.tm_mon = time.month;
    clock.tm_year = time.year;
    const int result = ::ioctl(device.get(), RTC_SET_TIME, &clock);
    if (result < 0) {
        std::printf("%s: ioctl fail(%d)!\n", __func__, result);
        return -1;
    }
    return 0;
}
