#pragma once

#include <cstdint>

// The system's date and time, set through the `date` command, and the hardware clock. One thread at a time:
// all of it goes through "/var/tmp/date.txt".

/// Results besides 0.
enum sntp_clock_status : int32_t {
    k_sntp_no_date = -1,
    k_sntp_bad_year = -172,
    k_sntp_bad_month = -173,
    k_sntp_bad_day = -174,
    k_sntp_bad_hour = -175,
    k_sntp_bad_minute = -176,
    k_sntp_bad_second = -177,
};

/// A date and time of day: the year in full, months and days from 1.
struct sntp_time {
    int32_t year;
    int32_t month;
    int32_t day;
    int32_t hour;
    int32_t minute;
    int32_t second;
};

/// Days of a month, 1..12. Every fourth year is a leap year, 2100 too.
constexpr int32_t sntp_month_length(int32_t year, int32_t month) {
    constexpr uint32_t k_months_of_31 = 0x15aa; // bit m: month m has as many days
    constexpr uint32_t k_months_of_30 = 0xa50;
    if (((k_months_of_31 >> month) & 1) != 0) {
        return 31;
    }
    if (((k_months_of_30 >> month) & 1) != 0) {
        return 30;
    }
    return year % 4 == 0 ? 29 : 28;
}

/// Runs `date`, in the C locale whatever the process's, and reads what it printed. Returns 0; or -1 after one
/// line on standard output when that is no date, and `time` is as it was. "/var/tmp/date.txt" then holds what
/// was printed: a file of our own (0644) in the place of anything that lay there, of which nothing is opened
/// or followed. A directory that holds something is renamed to "/var/tmp/date.XXXXXX". When the file cannot
/// get there one line says so, and the date is read all the same.
[[nodiscard]] int32_t sntp_read_date(sntp_time *time);

/// Sets the time of day: the system's and the hardware clock's, on the present date. Returns -175 for an hour
/// outside 0..23, -176 for a minute and -177 for a second outside 0..59, in that order; -1, with both clocks
/// left alone, when the present date cannot be read (sntp_read_date); otherwise 0, even when a clock did not
/// take it.
int32_t sntp_set_time(int32_t hour, int32_t minute, int32_t second);

/// Sets the date, at the present time of day. Returns -172 for a year outside 1970..2037, -173 for a month
/// outside 1..12, -174 for a day that the month does not have, in that order; -1, with both clocks left
/// alone, when the present time cannot be read (sntp_read_date); otherwise 0, even when a clock did not take
/// it.
int32_t sntp_set_date(int32_t year, int32_t month, int32_t day);

/// Writes the hardware clock "/dev/rtc-dev". Month and year go to the device as they are, 1..12 and in full,
/// not less 1 and less 1900 as with other real-time clocks: this device expects them so. Returns 0, or -1
/// after "%s: ioctl fail(%d)!" on standard output.
int32_t sntp_set_systime_to_rtc(const sntp_time &time);
