// The clock with a `date` of its own, and planted files where the real one writes.

#include "lib/time/sntp_clock.h"

#include "lib/base/result.h"
#include "tests/time/own_machine.h"

#include <csignal>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <limits>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace {

constexpr const char *k_date_file = "/var/tmp/date.txt";
constexpr const char *k_victim = "/var/tmp/victim";

/// What another user may do, where there is one: takes the date file's name as often as it can.
[[noreturn]] void plant_for_ever() {
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    ignore_result(::setuid(65534)); // in a user namespace there is nobody else
    for (unsigned turn = 0;; turn++) {
        ignore_result(turn % 3 == 0   ? ::symlink(k_victim, k_date_file)
                      : turn % 3 == 1 ? ::mkfifo(k_date_file, 0666)
                                      : ::mkdir(k_date_file, 0777));
        ignore_result(std::remove(k_date_file)); // its own, but not the clock's
    }
}

class Clock : public own_machine {
protected:
    struct setting {
        int32_t first, second, third, result;
        const char *command; // what date is run with after it has been asked
    };

    static void check(const std::vector<setting> &settings, int32_t (*set)(int32_t, int32_t, int32_t)) {
        for (const setting &s : settings) {
            testing::internal::CaptureStdout(); // there is no hardware clock, and that is said
            EXPECT_EQ(s.result, set(s.first, s.second, s.third))
                << s.first << ' ' << s.second << ' ' << s.third;
            EXPECT_EQ(s.result == 0 ? std::string("\n") + s.command + "\n" : "", date_runs());
            testing::internal::GetCapturedStdout();
        }
    }
};

} // namespace

TEST_F(Clock, RangesAreCheckedInTheirOrderAndDateIsRun) {
    constexpr int32_t k_low = std::numeric_limits<int32_t>::min();
    check({{0, 0, 0, 0, "022900002024.0"},
           {23, 59, 59, 0, "022923592024.59"},
           {7, 8, 9, 0, "022907082024.9"},
           {24, 60, 60, -175, ""},
           {-1, 0, 0, -175, ""},
           {23, 60, 60, -176, ""},
           {0, -1, 0, -176, ""},
           {0, 59, 60, -177, ""},
           {0, 0, k_low, -177, ""}},
          sntp_set_time);
    check({{1970, 1, 1, 0, "010123581970.59"},
           {2037, 12, 31, 0, "123123582037.59"},
           {2000, 2, 29, 0, "022923582000.59"},
           {1969, 13, 0, -172, ""},
           {2038, 1, 1, -172, ""},
           {2024, 0, 0, -173, ""},
           {2024, 13, 0, -173, ""},
           {2024, 1, 0, -174, ""},
           {2024, 2, 30, -174, ""},
           {2023, 2, 29, -174, ""}},
          sntp_set_date);
}

TEST(MonthLength, HasNoCenturyRule) {
    const int32_t days[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    for (int32_t month = 1; month <= 12; month++) {
        EXPECT_EQ(days[month - 1], sntp_month_length(2023, month)) << month;
    }
    EXPECT_EQ(29, sntp_month_length(2024, 2));
    EXPECT_EQ(29, sntp_month_length(2100, 2));
}

TEST_F(Clock, WhatIsNoDateLeavesTheClocksAlone) {
    const struct {
        const char *text;
        sntp_time time; // all 0: no date
    } k_cases[] = {
        {"Thu Jan  1 00:00:00 UTC 1970", {1970, 1, 1, 0, 0, 0}},
        {"Fri Dec 31 23:59:60 CEST 2027", {2027, 12, 31, 23, 59, 60}},
        {"Fri Foo 31 23:59:58 UTC 2027", {}},
        {"Fri Feb 30 23:59:58 UTC 2024", {}},
        {"Fri Dec 31 24:00:00 UTC 2027", {}},
        {"Fri Dec 31 06:00:00 PM CET 2027", {}},
        {"Fri Dec 31 99999999999999999999:1:1 UTC 2027", {}},
        {"WeekdayWithoutAnyEndThatWouldRunOverItsRoom Dec 31 23:59:58 UTC 2027", {}},
        {"", {}},
    };
    for (const auto &c : k_cases) {
        say_date(c.text);
        sntp_time time{};
        testing::internal::CaptureStdout();
        const bool is_date = c.time.year != 0;
        EXPECT_EQ(is_date ? 0 : -1, sntp_read_date(&time)) << c.text;
        EXPECT_EQ(0, std::memcmp(&c.time, &time, sizeof time)) << c.text;
        EXPECT_EQ(is_date ? "" : "sntp_read_date: date printed no date!\n",
                  testing::internal::GetCapturedStdout());
    }
    date_runs();
    testing::internal::CaptureStdout();
    EXPECT_EQ(-1, sntp_set_time(1, 2, 3));
    EXPECT_EQ(-1, sntp_set_date(2031, 12, 7));
    testing::internal::GetCapturedStdout();
    EXPECT_EQ("\n\n", date_runs()) << "asked twice, never set";
}

TEST_F(Clock, PlantedFilesLeadNowhere) {
    ::umask(0);
    std::ofstream(k_victim) << "kept";
    const pid_t attacker = ::fork();
    if (attacker == 0) {
        plant_for_ever();
    }
    testing::internal::CaptureStdout(); // a directory may be planted at the very moment
    for (int i = 0; i < 60; i++) {
        sntp_time time{};
        EXPECT_EQ(0, sntp_read_date(&time));
        EXPECT_EQ(2024, time.year);
    }
    ::kill(attacker, SIGKILL);
    ::waitpid(attacker, nullptr, 0);
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(4U, std::filesystem::file_size(k_victim));

    // The last thing planted may still be there; it is a directory now, with something in it.
    std::filesystem::remove_all(k_date_file);
    std::filesystem::create_directories(std::string(k_date_file) + "/full");
    sntp_time time{};
    EXPECT_EQ(0, sntp_read_date(&time));
    struct stat left {};
    EXPECT_EQ(0, ::lstat(k_date_file, &left));
    EXPECT_EQ(mode_t{S_IFREG | 0644}, left.st_mode);
    std::string text;
    std::getline(std::ifstream(k_date_file), text);
    EXPECT_EQ("Thu Feb 29 23:58:59 UTC 2024", text);
}
