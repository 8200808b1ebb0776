#include "lib/time/sntp_clock.h"

#include "tests/time/own_machine.h"

#include <cstring>
#include <filesystem>
#include <fstream>
#include <limits>
#include <sys/stat.h>
#include <vector>

namespace {

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

TEST_F(Clock, DateIsReadFromWhatDatePrints) {
    const struct {
        const char *text;
        sntp_time time;
    } k_cases[] = {
        {"Thu Jan  1 00:00:00 UTC 1970", {1970, 1, 1, 0, 0, 0}},
        {"Fri Dec 31 23:59:58 CEST 2027", {2027, 12, 31, 23, 59, 58}},
        {"Fri Foo 31 23:59:58 UTC 2027", {2027, 0, 31, 23, 59, 58}},
        {"Fri Dec 31", {0, 12, 31, 0, 0, 0}},
        {"", {}},
        {"Fri Dec 31 99999999999999999999:1:1 UTC 2027", {0, 12, 31, 999999999, 0, 0}},
        {"WeekdayWithoutAnyEndThatWouldRunOverItsRoom Dec 31 23:59:58 UTC 2027", {}},
    };
    for (const auto &c : k_cases) {
        say_date(c.text);
        const sntp_time time = sntp_read_date();
        EXPECT_EQ(0, std::memcmp(&c.time, &time, sizeof time)) << c.text;
    }
}

TEST_F(Clock, PlantedFilesLeadNowhere) {
    std::ofstream("/var/tmp/victim") << "kept";
    std::filesystem::create_symlink("/var/tmp/victim", "/var/tmp/date.txt");
    EXPECT_EQ(2024, sntp_read_date().year);
    EXPECT_EQ(4U, std::filesystem::file_size("/var/tmp/victim"));
    std::filesystem::remove("/var/tmp/date.txt");
    ASSERT_EQ(0, ::mkfifo("/var/tmp/date.txt", 0600));
    EXPECT_EQ(2024, sntp_read_date().year);
}
