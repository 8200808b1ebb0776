#pragma once

#include "lib/sasi/sasi.h"
#include "lib/services/service.h"

// What the shows of the switch-access device share; between switch.cpp and its subjects only. Fields whose
// meaning is not known are called by their place in the device's records.

inline constexpr const char *k_switch_silent = "The switch does not answer";

/// Whether this show may ask the device once more; it has not taken too long yet.
bool switch_may_ask();

/// Notes what came of a request with this return code, and returns whether its results are there.
bool switch_note(int32_t return_code);

/// Calls an accessor of sasi.h. Returns whether what it has given is the device's answer to just this.
template<typename accessor> [[nodiscard]] bool switch_ask(const accessor &get) {
    return switch_may_ask() && switch_note(get());
}

/// A number, or a text when it is known at all.
inline report_cell switch_cell(bool known, uint32_t value) {
    return known ? report_cell(int64_t{value}) : report_cell("");
}
inline report_cell switch_cell(bool known, const char *text) { return known ? text : ""; }

/// "yes" or "no".
const char *switch_yes(bool yes);

/// "00:1B:FE:80:7F:06".
std::string switch_address(std::span<const uint8_t, 6> address);

using switch_show = service_answer (*)(const service_call &call, report &to);

service_answer switch_show_alarms(const service_call &call, report &to);
service_answer switch_show_hardware(const service_call &call, report &to); // temperatures and inputs
service_answer switch_show_ports(const service_call &call, report &to);
service_answer switch_show_port(const service_call &call, report &to);
service_answer switch_show_counters(const service_call &call, report &to); // of all ports, or of one by name
service_answer switch_show_modules(const service_call &call, report &to);
service_answer switch_show_spanning_tree(const service_call &call, report &to);
service_answer switch_show_tree_summary(const service_call &call, report &to);
service_answer switch_show_tree_ports(const service_call &call, report &to);
service_answer switch_show_mst(const service_call &call, report &to);
service_answer switch_show_redundant_ring(const service_call &call, report &to);
service_answer switch_show_rings(const service_call &call, report &to);
service_answer switch_show_ring(const service_call &call, report &to);
