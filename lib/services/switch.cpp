// The switch-access device as a service: what it tells, by the words of the shows.

#include "lib/base/monotonic.h"
#include "lib/services/services.h"
#include "lib/services/switch_look.h"

#include <algorithm>
#include <cstdio>
#include <iterator>

namespace {

// The shell waits meanwhile, and some shows make hundreds of requests.
constexpr int64_t k_patience_us = 1'500'000;

// Of the show that runs; the shell's thread alone looks at them.
int64_t s_until_us = 0;
bool s_late = false;     // something has not been asked for
bool s_answered = false; // something has been answered

struct show_row {
    std::string_view words;
    switch_show show;
};

// What is in no row the device does not tell. It counts, but in what units is not known, so there is no
// utilization; nor does it tell names, speeds or what modules measure.
constexpr show_row k_shows[] = {
    {"alarm-info", switch_show_alarms},
    {"hardware-monitor", switch_show_hardware},
    {"interface", switch_show_ports},
    {"interface gigabitethernet1/0/", switch_show_port},
    {"port-statistics", switch_show_counters},
    {"rmon statistics", switch_show_counters},
    {"sfp info", switch_show_modules},
    {"spanning-tree", switch_show_spanning_tree},
    {"spanning-tree summary", switch_show_tree_summary},
    {"spanning-tree port", switch_show_tree_ports},
    {"spanning-tree mst", switch_show_mst},
    {"tarn-ring ring", switch_show_redundant_ring},
    {"erps", switch_show_rings},
    {"erps ring", switch_show_ring},
};

service_answer show(const service_call &call, report &to) {
    const auto *const row = std::find_if(std::begin(k_shows), std::end(k_shows),
                                         [&](const show_row &known) { return known.words == call.words; });
    if (row == std::end(k_shows)) {
        return {service_outcome::not_supported};
    }
    s_until_us = monotonic_us() + k_patience_us;
    s_late = false;
    s_answered = false;
    service_answer answer = row->show(call, to);
    if (s_late) {
        return {service_outcome::refused, "The switch answers too slowly"};
    }
    if (answer.outcome == service_outcome::done && !s_answered) {
        return {service_outcome::refused, k_switch_silent};
    }
    return answer;
}

} // namespace

bool switch_may_ask() {
    s_late = s_late || monotonic_us() >= s_until_us;
    return !s_late;
}

bool switch_note(int32_t return_code) {
    s_answered = s_answered || sasi_answered();
    return return_code == 0 && sasi_answered();
}

const char *switch_yes(bool yes) { return yes ? "yes" : "no"; }

std::string switch_address(std::span<const uint8_t, 6> address) {
    char text[sizeof "00:00:00:00:00:00"];
    std::snprintf(text, sizeof text, "%02X:%02X:%02X:%02X:%02X:%02X", address[0], address[1], address[2],
                  address[3], address[4], address[5]);
    return text;
}

const service service_switch = {"the switch-access device", sasi_is_open, nullptr, nullptr, show, nullptr};
