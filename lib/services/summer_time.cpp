#include "lib/services/summer_time.h"

#include "lib/base/parse_number.h"
#include "lib/services/time_results.h"
#include "lib/time/sntp_client.h"

#include <algorithm>

namespace {

using season = std::array<sntp_rule, 2>; // when it begins, and when it ends

constexpr const char *k_rules_stay =
    "The time service keeps its rules of summer time until it gets others.\n";

season s_season = {};      // of s_has_season
bool s_has_season = false; // else it may still have one from before

constexpr std::string_view k_weeks[] = {"first", "second", "third", "fourth", "last"}; // from 1
constexpr std::string_view k_weekdays[] = {"sunday",   "monday", "tuesday", "wednesday",
                                           "thursday", "friday", "saturday"};

constexpr size_t k_rule_words = 4; // "last sunday 10 03:00:00"

// Two of the region's: the second Sunday of March and the first one of November, both at 2 local time.
constexpr season k_north_america = {{{2, 0, 3, 2}, {1, 0, 11, 2}}};

uint32_t index_in(std::span<const std::string_view> words, std::string_view word) {
    return static_cast<uint32_t>(std::find(words.begin(), words.end(), word) - words.begin());
}

/// Of "last sunday 10 03:00:00". Returns false for a time between full hours, which no rule has.
bool read_rule(std::span<const std::string> words, sntp_rule *rule) {
    const auto [hour, minute, second] = time_numbers(words[3], ':');
    rule->week = 1 + index_in(k_weeks, words[0]);
    rule->weekday = index_in(k_weekdays, words[1]);
    rule->hour = static_cast<uint32_t>(hour);
    return parse_number(words[2], &rule->month) && minute == 0 && second == 0;
}

/// Both rules or none, as far as the one in force is known.
service_answer set_season(const season &wanted) {
    int32_t result = sntp_set_rule(sntp_rule_choice::first, wanted[0]);
    if (result == 0) {
        result = sntp_set_rule(sntp_rule_choice::second, wanted[1]);
        if (result != 0 && s_has_season) {
            sntp_set_rule(sntp_rule_choice::first, s_season[0]);
        }
    }
    if (result == 0) {
        s_season = wanted;
        s_has_season = true;
    }
    return time_answer(result);
}

} // namespace

service_answer summer_time_apply(std::span<const std::string> words) {
    if (words.size() == 1 && words[0] == "north-america") {
        return set_season(k_north_america);
    }
    if (words.size() != 2 * k_rule_words) {
        return summer_time_withdraw(); // Europe's, which is by UTC, and one of a single year
    }
    season wanted = {};
    if (!read_rule(words.first(k_rule_words), &wanted[0]) ||
        !read_rule(words.last(k_rule_words), &wanted[1])) {
        return {service_outcome::refused, "Summer time begins and ends at full hours"};
    }
    return set_season(wanted);
}

service_answer summer_time_withdraw() {
    return s_has_season ? service_answer{service_outcome::done, k_rules_stay}
                        : service_answer{service_outcome::not_supported};
}
