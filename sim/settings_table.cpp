// The rows of all settings: where each lies in the state, what it takes and what it means.

#include "lib/time/sntp_record.h"
#include "sim/device.h"
#include "sim/settings.h"

namespace {

using enum sim_kind;

constexpr auto k_none = sim_index::none;
constexpr uint32_t k_any = 0xFFFFFFFF;
constexpr uint32_t k_byte = 0xFF;

constexpr uint32_t bit(uint32_t number) { return uint32_t{1} << number; }

constexpr sim_value_name k_off_on[] = {{"off", 0}, {"on", 1}};
constexpr sim_value_name k_down_up[] = {{"down", 0}, {"up", 1}};
constexpr sim_value_name k_media[] = {{"fast", 0}, {"copper", 1}, {"fibre", 2}};
constexpr sim_value_name k_stp_modes[] = {{"stp", 0}, {"rstp", 2}, {"mstp", 3}};
constexpr sim_value_name k_flash[] = {
    {"ok", k_sim_flash_whole}, {"missing", k_sim_flash_missing}, {"short", 100}};
constexpr sim_value_name k_missing[] = {{"ok", 0}, {"missing", 1}};
constexpr sim_value_name k_absent[] = {{"ok", 0}, {"absent", 1}};
constexpr sim_value_name k_forks[] = {{"ok", 0}, {"fail", k_sim_forks_all}};

constexpr sim_value_name k_rtc[] = {{"ok", 0}, {"fail", 1}};
constexpr sim_value_name k_answers[] = {{"ok", k_sim_time_whole}, {"silent", k_sim_time_silent}};
constexpr sim_value_name k_late[] = {{"ok", 0}};
constexpr sim_value_name k_server_kinds[] = {
    {"ipv4", static_cast<uint32_t>(sntp_server_kind::ipv4)},
    {"host-name", static_cast<uint32_t>(sntp_server_kind::host_name)},
    {"ipv6", static_cast<uint32_t>(sntp_server_kind::ipv6)},
};

// Alarms by what raises them. Of two words for a value the first is shown: for power the register map's.
constexpr sim_value_name k_main_power[] = {{"good", 0},
                                           {"no-input", bit(alarm_bit::k_main_no_input)},
                                           {"under-voltage", bit(alarm_bit::k_main_under_voltage)},
                                           {"over-voltage", bit(alarm_bit::k_main_over_voltage)},
                                           {"ok", 0}};
constexpr sim_value_name k_redundant_power[] = {{"good", 0},
                                                {"no-input", bit(alarm_bit::k_redundant_no_input)},
                                                {"under-voltage", bit(alarm_bit::k_redundant_under_voltage)},
                                                {"over-voltage", bit(alarm_bit::k_redundant_over_voltage)},
                                                {"ok", 0}};
constexpr sim_value_name k_link_down[] = {{"off", 0}, {"on", bit(alarm_bit::k_link_down_port1)}};
template<uint32_t number> constexpr sim_value_name k_alarm_bit[] = {{"ok", 0}, {"alarm", bit(number)}};

// Rows by the element they belong to.

constexpr sim_setting single(const char *name, sim_kind kind, size_t offset, uint32_t limit,
                             std::span<const sim_value_name> names, const char *meaning) {
    return {name,  kind,  {k_none, k_none}, false, static_cast<uint32_t>(offset), {0, 0},
            limit, names, meaning};
}

constexpr sim_setting read_only(sim_setting setting) {
    setting.read_only = true;
    return setting;
}

constexpr sim_setting alarm(const char *name, std::span<const sim_value_name> names, const char *meaning) {
    uint32_t mask = 0;
    for (const sim_value_name &value : names) {
        mask |= value.value;
    }
    return single(name, bits, offsetof(sim_state, alarm_word), mask, names, meaning);
}

constexpr sim_setting of_port(const char *name, sim_kind kind, size_t offset, uint32_t limit,
                              std::span<const sim_value_name> names, const char *meaning) {
    return {name,
            kind,
            {sim_index::port, k_none},
            false,
            static_cast<uint32_t>(offsetof(sim_state, ports) + offset),
            {sizeof(sim_port), 0},
            limit,
            names,
            meaning};
}

constexpr sim_setting of_counter(const char *name, sim_kind kind, const char *meaning) {
    return {name,
            kind,
            {sim_index::port, sim_index::counter},
            false,
            offsetof(sim_state, ports) + offsetof(sim_port, counters),
            {sizeof(sim_port), sizeof(sim_counter)},
            k_any,
            {},
            meaning};
}

constexpr sim_setting of_redundant(const char *name, sim_kind kind, size_t offset, uint32_t limit) {
    return {name,
            kind,
            {sim_index::redundant_ring, k_none},
            false,
            static_cast<uint32_t>(offsetof(sim_state, redundant) + offset),
            {sizeof(sim_redundant_ring), 0},
            limit,
            {},
            "of the redundant ring's record"};
}

constexpr sim_setting of_ring(const char *name, sim_kind kind, size_t offset, uint32_t limit) {
    return {name,
            kind,
            {sim_index::ring_id, k_none},
            false,
            static_cast<uint32_t>(offsetof(sim_state, rings) + offset),
            {sizeof(sim_ring), 0},
            limit,
            {},
            "of the ring-redundancy ring's record"};
}

constexpr sim_setting of_mst(const char *name, sim_kind kind, size_t offset, uint32_t limit) {
    return {name,
            kind,
            {sim_index::instance, k_none},
            false,
            static_cast<uint32_t>(offsetof(sim_state, mst) + offset),
            {sizeof(sim_mst), 0},
            limit,
            {},
            "of the MST instance's record"};
}

constexpr sim_setting of_mst_port(const char *name, size_t offset) {
    return {name,
            octet,
            {sim_index::instance, sim_index::port},
            false,
            static_cast<uint32_t>(offsetof(sim_state, mst) + offsetof(sim_mst, ports) + offset),
            {sizeof(sim_mst), sizeof(sim_mst_port)},
            k_byte,
            {},
            "of the port's entry in the MST instance's table"};
}

constexpr sim_setting of_ip(const char *name, sim_kind kind, size_t offset, const char *meaning) {
    return single(name, kind, offsetof(sim_state, ip) + offset, k_any, {}, meaning);
}

/// A field of what was last written to the hardware clock.
constexpr sim_setting of_rtc(const char *name, size_t offset) {
    return read_only(single(name, integer, offsetof(sim_state, clocks) + offset, 0, {},
                            "as last written to the hardware clock"));
}

constexpr sim_setting of_time(const char *name, sim_kind kind, size_t offset, uint32_t limit,
                              std::span<const sim_value_name> names, const char *meaning) {
    return single(name, kind, offsetof(sim_state, time) + offset, limit, names, meaning);
}

/// A word of a rule or of the settings.
constexpr sim_setting of_time_words(const char *name, size_t offset, size_t place, const char *meaning) {
    return of_time(name, number, offset + place * sizeof(uint32_t), k_any, {}, meaning);
}

constexpr size_t in_identity(size_t offset) { return offsetof(sim_state, identity) + offset; }

constexpr size_t in_faults(size_t offset) { return offsetof(sim_state, faults) + offset; }

constexpr sim_setting k_settings[] = {
    read_only(single("modbus.port", number, offsetof(sim_state, port_in_use), k_any, {},
                     "TCP port the program listens on; 0: not yet")),
    single("identity.serial", text, in_identity(offsetof(sim_identity, serial)), k_sim_serial_size - 1, {},
           "serial number, the boot loader's serial#"),
    single("identity.mac", address, in_identity(offsetof(sim_identity, tap0)), 0, {},
           "hardware address of tap0"),
    single("identity.tailer-a", words, in_identity(offsetof(sim_identity, tailer_a)), 16, {},
           "boot-loader tailer words A"),
    single("identity.tailer-b", words, in_identity(offsetof(sim_identity, tailer_b)), 16, {},
           "boot-loader tailer words B"),
    single("identity.header-a", words, in_identity(offsetof(sim_identity, header_a)), 12, {},
           "firmware header words A"),
    single("identity.header-b", words, in_identity(offsetof(sim_identity, header_b)), 16, {},
           "firmware header words B"),
    alarm("power.main", k_main_power, "main power input"),
    alarm("power.redundant", k_redundant_power, "redundant power input"),
    alarm("temperature.board", k_alarm_bit<alarm_bit::k_board_temperature>, "board temperature"),
    alarm("temperature.cpu", k_alarm_bit<alarm_bit::k_cpu_temperature>, "CPU temperature"),
    alarm("temperature.phy", k_alarm_bit<alarm_bit::k_phy_temperature>, "PHY temperature"),
    alarm("input.1v0", k_alarm_bit<alarm_bit::k_input_1v0>, "1.0 V input"),
    alarm("input.1v8", k_alarm_bit<alarm_bit::k_input_1v8>, "1.8 V input"),
    alarm("input.5v0", k_alarm_bit<alarm_bit::k_input_5v0>, "5.0 V input"),
    alarm("battery", k_alarm_bit<alarm_bit::k_dc_battery>, "DC battery"),
    {"alarm.link-down.#",
     bits,
     {sim_index::port, k_none},
     false,
     offsetof(sim_state, alarm_word),
     {0, 0},
     bit(alarm_bit::k_link_down_port1),
     k_link_down,
     "link-down alarm of a port, whatever its link is"},
    single("alarm.first", number, offsetof(sim_state, alarm_first), k_any, {},
           "first word of the alarm status"),
    single("alarm.word", number, offsetof(sim_state, alarm_word), k_any, {},
           "all alarm bits set by hand; links that are down come on top"),
    of_ip("ip.address", ipv4, offsetof(sim_ip, address), "management interface's IPv4 address"),
    of_ip("ip.netmask", ipv4, offsetof(sim_ip, netmask), "its netmask"),
    of_ip("ip.route", number, offsetof(sim_ip, route), "0: no route beyond its subnet"),
    single("stp.enabled", number, offsetof(sim_state, bridge_enabled), k_byte, k_off_on, "spanning tree"),
    single("stp.mode", number, offsetof(sim_state, bridge_mode), k_byte, k_stp_modes,
           "spanning-tree protocol"),
    of_port("port.#.link", link, offsetof(sim_port, link), 1, k_down_up,
            "link; while down, word 5 reads 0 and the counters stand"),
    of_port("port.#.alarm", number, offsetof(sim_port, alarmed), 1, k_off_on,
            "whether the link being down raises the port's alarm"),
    of_port("port.#.media", number, offsetof(sim_port, media), k_any, k_media, "media type"),
    {"port.#.word.#",
     number,
     {sim_index::port, sim_index::state_word},
     false,
     offsetof(sim_state, ports) + offsetof(sim_port, words),
     {sizeof(sim_port), sizeof(uint32_t)},
     k_any,
     {},
     "setting and state words; 5 is what the registers show"},
    of_counter("port.#.counter.#", counter, "counter, as it stands now"),
    of_counter("port.#.rate.#", rate, "how much the counter grows a second"),
    of_redundant("redundant.#.state", number, offsetof(sim_redundant_ring, state), k_any),
    of_redundant("redundant.#.address", address, offsetof(sim_redundant_ring, address), 0),
    of_redundant("redundant.#.word14", number, offsetof(sim_redundant_ring, word14), k_any),
    of_redundant("redundant.#.word18", number, offsetof(sim_redundant_ring, word18), k_any),
    of_redundant("redundant.#.byte22", number, offsetof(sim_redundant_ring, byte22), k_byte),
    of_redundant("redundant.#.word26", number, offsetof(sim_redundant_ring, word26), k_any),
    of_redundant("redundant.#.byte30", number, offsetof(sim_redundant_ring, byte30), k_byte),
    of_redundant("redundant.#.word34", number, offsetof(sim_redundant_ring, word34), k_any),
    of_ring("ring.#.state", number, offsetof(sim_ring, state), k_any),
    of_ring("ring.#.configured", number, offsetof(sim_ring, configured), k_any),
    of_ring("ring.#.name", text, offsetof(sim_ring, name), ring_at::k_name_size),
    of_ring("ring.#.word24", number, offsetof(sim_ring, word24), k_any),
    of_ring("ring.#.value28", number, offsetof(sim_ring, value28), UINT16_MAX),
    of_ring("ring.#.port1", number, offsetof(sim_ring, port1), k_byte),
    of_ring("ring.#.port1-state", number, offsetof(sim_ring, port1_state), k_any),
    of_ring("ring.#.word60", number, offsetof(sim_ring, word60), k_any),
    of_ring("ring.#.port2", number, offsetof(sim_ring, port2), k_byte),
    of_ring("ring.#.port2-state", number, offsetof(sim_ring, port2_state), k_any),
    of_ring("ring.#.word72", number, offsetof(sim_ring, word72), k_any),
    of_ring("ring.#.word133", number, offsetof(sim_ring, word133), k_any),
    of_ring("ring.#.byte137", number, offsetof(sim_ring, byte137), k_byte),
    of_ring("ring.#.word141", number, offsetof(sim_ring, word141), k_any),
    of_mst("mst.#.byte1", number, offsetof(sim_mst, byte1), k_byte),
    of_mst("mst.#.address", address, offsetof(sim_mst, address), 0),
    of_mst_port("mst.#.port.#.byte0", offsetof(sim_mst_port, byte0)),
    of_mst_port("mst.#.port.#.byte1", offsetof(sim_mst_port, byte1)),
    of_mst_port("mst.#.port.#.byte4", offsetof(sim_mst_port, byte4)),
    of_mst_port("mst.#.port.#.byte5", offsetof(sim_mst_port, byte5)),
    of_mst_port("mst.#.port.#.byte8", offsetof(sim_mst_port, byte8)),
    of_mst_port("mst.#.port.#.byte9", offsetof(sim_mst_port, byte9)),
    single("clock.ahead", integer, offsetof(sim_state, clocks) + offsetof(sim_clocks, ahead), 0, {},
           "seconds that the switch's date is ahead of this machine's"),
    read_only(single("rtc.writes", number, offsetof(sim_state, clocks) + offsetof(sim_clocks, writes), k_any,
                     {}, "how often the hardware clock was written")),
    of_rtc("rtc.year", offsetof(sim_clocks, year)),
    of_rtc("rtc.month", offsetof(sim_clocks, month)),
    of_rtc("rtc.day", offsetof(sim_clocks, day)),
    of_rtc("rtc.hour", offsetof(sim_clocks, hour)),
    of_rtc("rtc.minute", offsetof(sim_clocks, minute)),
    of_rtc("rtc.second", offsetof(sim_clocks, second)),
    read_only(of_time("time.port", number, offsetof(sim_time, port), k_any, {},
                      "UDP port that the time service is played on; 0: it is not")),
    read_only(of_time("time.requests", number, offsetof(sim_time, requests), k_any, {},
                      "how often the time service was asked")),
    of_time_words("time.settings.1", offsetof(sim_time, settings), 0, "what the service's settings say"),
    of_time_words("time.settings.2", offsetof(sim_time, settings), 1, "what the service's settings say"),
    of_time_words("time.settings.3", offsetof(sim_time, settings), 2, "what the service's settings say"),
    of_time_words("time.settings.4", offsetof(sim_time, settings), 3, "what the service's settings say"),
    of_time_words("time.rule1.week", offsetof(sim_time, rules), 0, "of the first seasonal rule"),
    of_time_words("time.rule1.weekday", offsetof(sim_time, rules), 1, "of the first seasonal rule"),
    of_time_words("time.rule1.month", offsetof(sim_time, rules), 2, "of the first seasonal rule"),
    of_time_words("time.rule1.hour", offsetof(sim_time, rules), 3, "of the first seasonal rule"),
    of_time_words("time.rule2.week", offsetof(sim_time, rules), 4, "of the second seasonal rule"),
    of_time_words("time.rule2.weekday", offsetof(sim_time, rules), 5, "of the second seasonal rule"),
    of_time_words("time.rule2.month", offsetof(sim_time, rules), 6, "of the second seasonal rule"),
    of_time_words("time.rule2.hour", offsetof(sim_time, rules), 7, "of the second seasonal rule"),
    of_time("time.address", ipv4, offsetof(sim_time, address), k_any, {}, "server address"),
    of_time("time.server.kind", number, offsetof(sim_time, server_kind), k_any, k_server_kinds,
            "which of the following is the server"),
    of_time("time.server.ipv4", ipv4, offsetof(sim_time, server_ipv4), k_any, {}, "server's IPv4 address"),
    of_time("time.server.name", text, offsetof(sim_time, server_name), k_sntp_host_name_size - 1, {},
            "server's host name"),
    of_time("time.server.ipv6", ipv6, offsetof(sim_time, server_ipv6), 0, {}, "server's IPv6 address"),
    of_time("time.text", text, offsetof(sim_time, text), k_sntp_text_length, {}, "text the service tells"),
    of_time("time.status", integer, offsetof(sim_time, status), 0, {}, "status of every answer"),
    of_time("time.reply1", number, offsetof(sim_time, reply1), k_any, {},
            "first reply word; with both 1 the client writes the hardware clock"),
    of_time("time.reply2", number, offsetof(sim_time, reply2), k_any, {}, "second reply word"),
    single("fault.device", number, in_faults(offsetof(sim_faults, device_missing)), 1, k_missing,
           "/dev/sasi-dev"),
    single("fault.mtd1", number, in_faults(offsetof(sim_faults, tailer_size)), k_sim_flash_size, k_flash,
           "/dev/mtd1; a number is how many bytes it has"),
    single("fault.mtd4", number, in_faults(offsetof(sim_faults, header_size)), k_sim_flash_size, k_flash,
           "/dev/mtd4; a number is how many bytes it has"),
    single("fault.serial", number, in_faults(offsetof(sim_faults, serial_missing)), 1, k_missing,
           "the boot loader's serial#"),
    single("fault.tap0", number, in_faults(offsetof(sim_faults, tap0_absent)), 1, k_absent, "interface tap0"),
    single("fault.fork", number, in_faults(offsetof(sim_faults, fork_failures)), k_any, k_forks,
           "fork; a number is how many of the next ones fail"),
    single("fault.rtc", number, in_faults(offsetof(sim_faults, rtc_missing)), 1, k_missing, "/dev/rtc-dev"),
    single("fault.rtc-write", number, in_faults(offsetof(sim_faults, rtc_failing)), 1, k_rtc,
           "writing the hardware clock"),
    single("fault.time", number, in_faults(offsetof(sim_faults, time_size)), sizeof(sntp_record), k_answers,
           "the time service's answers; a number is how many bytes they have"),
    single("fault.time-late", number, in_faults(offsetof(sim_faults, time_late_ms)), 600'000, k_late,
           "milliseconds that those come later"),
    {"fault.#",
     fault,
     {sim_index::request, k_none},
     false,
     static_cast<uint32_t>(in_faults(offsetof(sim_faults, requests))),
     {sizeof(sim_request_fault), 0},
     0,
     {},
     "a request to the device"},
    {"requests.#",
     number,
     {sim_index::request, k_none},
     true,
     offsetof(sim_state, request_counts),
     {sizeof(uint32_t), 0},
     k_any,
     {},
     "how often a request was made"},
    read_only(single("requests.unknown", number,
                     offsetof(sim_state, request_counts) + sizeof(uint32_t) * k_sasi_request_kinds, k_any, {},
                     "how often the device was asked what it does not know")),
};

} // namespace

std::span<const sim_setting> sim_settings() { return k_settings; }

uint32_t sim_index_count(sim_index index) {
    switch (index) {
    case sim_index::port:
        return k_switch_ports;
    case sim_index::state_word:
        return std::size(k_at_port_words);
    case sim_index::counter:
        return std::size(k_counter_subs);
    case sim_index::ring_id:
        return k_ring_ids;
    case sim_index::redundant_ring:
        return k_redundant_rings;
    case sim_index::instance:
        return k_mst_instances;
    case sim_index::request:
        return k_sasi_request_kinds;
    case sim_index::none:
        break;
    }
    return 1;
}

std::string sim_index_label(sim_index index, uint32_t place) {
    switch (index) {
    case sim_index::port:
    case sim_index::state_word:
    case sim_index::ring_id:
        return std::to_string(place + 1);
    case sim_index::counter:
        return std::to_string(k_counter_subs[place]);
    case sim_index::request:
        return std::to_string(k_sasi_requests[place].request) + "/" +
               std::to_string(k_sasi_requests[place].sub_code);
    case sim_index::redundant_ring:
    case sim_index::instance:
        return std::to_string(place);
    case sim_index::none:
        break;
    }
    return "";
}

std::string sim_index_range(sim_index index) {
    const uint32_t last = sim_index_count(index) - 1;
    if (index != sim_index::counter && index != sim_index::request) {
        return sim_index_label(index, 0) + ".." + sim_index_label(index, last);
    }
    std::string range = sim_index_label(index, 0);
    for (uint32_t place = 1; place <= last; place++) {
        range += ", " + sim_index_label(index, place);
    }
    return range;
}
