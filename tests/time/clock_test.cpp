// The clock with a `date` of its own, and planted files where the real one writes.

#include "lib/time/sntp_clock.h"

#include "tests/time/own_machine.h"

#include <cstring>
#include <filesystem>
#include <fstream>
#include <sys/stat.h>

namespace {

namespace fs = std::filesystem;

constexpr const char *k_date_file = "/var/tmp/date.txt";
constexpr const char *k_victim = "/var/tmp/victim";

class Clock : public own_machine {
protected:
    /// There is no hardware clock, and that is said, or why there is no date.
    void SetUp() override {
        own_machine::SetUp();
        testing::internal::CaptureStdout();
    }
    void TearDown() override { testing::internal::GetCapturedStdout(); }
};

} // namespace

TEST_F(Clock, RangesAreCheckedInTheirOrderAndDateIsRun) {
    struct setting {
        int32_t first, second, third, result;
        const char *command; // what date is run with after it has been asked
    };
    const setting times[] = {{0, 0, 0, 0, "022900002024.0"}, {23, 59, 59, 0, "022923592024.59"},
                             {7, 8, 9, 0, "022907082024.9"}, {24, 60, 60, -175, ""},
                             {-1, 0, 0, -175, ""},           {23, 60, 60, -176, ""},
                             {0, -1, 0, -176, ""},           {0, 59, 60, -177, ""},
                             {0, 0, INT32_MIN, -177, ""}};
    const setting dates[] = {{1970, 1, 1, 0, "010123581970.59"},
                             {2037, 12, 31, 0, "123123582037.59"},
                             {2000, 2, 29, 0, "022923582000.59"},
                             {1969, 13, 0, -172, ""},
                             {2038, 1, 1, -172, ""},
                             {2024, 0, 0, -173, ""},
                             {2024, 13, 0, -173, ""},
                             {2024, 1, 0, -174, ""},
                             {2024, 2, 30, -174, ""},
                             {2023, 2, 29, -174, ""}};
    const auto check = [](const setting &s, int32_t (*set)(int32_t, int32_t, int32_t)) {
        EXPECT_EQ(s.result, set(s.first, s.second, s.third)) << s.first << ' ' << s.second << ' ' << s.third;
        EXPECT_EQ(s.result == 0 ? std::string("\n") + s.command + "\n" : "", date_runs());
    };
    for (const setting &time : times) {
        check(time, sntp_set_time);
    }
    for (const setting &date : dates) {
        check(date, sntp_set_date);
    }
}

TEST(MonthLength, HasNoCenturyRule) {
    const int32_t days[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    for (int32_t month = 1; month <= 12; month++) {
        EXPECT_EQ(days[month - 1] + (month == 2 ? 1 : 0), sntp_month_length(2100, month)) << month;
        EXPECT_EQ(days[month - 1], sntp_month_length(2023, month)) << month;
    }
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
        const bool is_date = c.time.year != 0;
        EXPECT_EQ(is_date ? 0 : -1, sntp_read_date(&time)) << c.text;
        EXPECT_EQ(0, std::memcmp(&c.time, &time, sizeof time)) << c.text;
    }
    date_runs();
    EXPECT_EQ(-1, sntp_set_time(1, 2, 3));
    EXPECT_EQ(-1, sntp_set_date(2031, 12, 7));
    EXPECT_EQ("\n\n", date_runs()) << "asked twice, never set";
}

TEST_F(Clock, PlantedFilesLeadNowhere) {
    ::umask(0);
    std::ofstream(k_victim) << "kept";
    void (*const plants[])() = {
        [] { fs::create_symlink(k_victim, k_date_file); },
        [] { EXPECT_EQ(0, ::mkfifo(k_date_file, 0666)); },
        [] { fs::create_directories(std::string(k_date_file) + "/full"); },
    };
    for (const auto &plant : plants) {
        fs::remove(k_date_file);
        plant();
        sntp_time time{};
        EXPECT_EQ(0, sntp_read_date(&time));
        EXPECT_EQ(2024, time.year);
        struct stat left {};
        EXPECT_EQ(0, ::lstat(k_date_file, &left));
        EXPECT_EQ(mode_t{S_IFREG | 0644}, left.st_mode);
        std::string text;
        std::getline(std::ifstream(k_date_file), text);
        EXPECT_EQ("Thu Feb 29 23:58:59 UTC 2024", text);
    }
    EXPECT_EQ(4U, fs::file_size(k_victim));
}
