// The servers by which the switch is managed, started and stopped by the service manager of the machine.
// Their ports are only kept, for the servers to read.

#include "lib/base/take_piece.h"
#include "lib/services/kernel_text.h"
#include "lib/services/server_programs.h"
#include "lib/services/services.h"

#include <algorithm>
#include <iterator>
#include <unistd.h>

namespace {

constexpr int32_t k_patience_s = 10;
constexpr int k_no_such_unit = 5; // what systemctl ends with then
constexpr size_t k_reason_max = 200;

struct server_row {
    std::string_view words; // of its setting
    const char *name;       // in the file of programs
    const char *unit;       // of the service manager
};

constexpr server_row k_rows[] = {
    {"http server", "http", "httpd.service"},
    {"https server", "https", "httpsd.service"},
    {"telnet server", "telnet", "telnetd.service"},
    {"ssh server", "ssh", "sshd.service"},
    {"snmp_v1v2c server", "snmp_v1v2c", "snmpd-v1v2c.service"},
    {"snmp_v3 server", "snmp_v3", "snmpd-v3.service"},
    {"modbus_tcp", "modbus_tcp", "modbusd.service"},
};

bool has_systemd() { return ::access("/run/systemd/system", F_OK) == 0 && program_exists("systemctl"); }

/// What a program said, in a line without what moves a cursor.
std::string reason_of(std::string_view printed) {
    while (!printed.empty() && (printed.front() == '\n' || printed.front() == ' ')) {
        printed.remove_prefix(1);
    }
    return kernel_printable(take_piece(printed, '\n').substr(0, k_reason_max));
}

service_answer change(const server_row &server, bool on) {
    const bool systemd = has_systemd();
    const char *const verb = on ? "start" : "stop";
    const std::vector<std::string> line =
        systemd ? std::vector<std::string>{"systemctl", "--no-ask-password", verb, server.unit}
                : server_programs_find(server.name, verb);
    if (line.empty()) {
        return {service_outcome::not_supported};
    }
    std::string printed;
    const int status = program_run(line, k_patience_s, &printed);
    if (systemd && status == k_no_such_unit) {
        return {service_outcome::not_supported};
    }
    if (status == 0) {
        return {};
    }
    std::string reason = reason_of(printed);
    if (reason.empty()) {
        reason = line.front() + (status < 0 ? " cannot be run, or takes too long"
                                            : " ended with status " + std::to_string(status));
    }
    return {service_outcome::refused,
            std::string(server.name) + (on ? " does not start: " : " does not stop: ") + reason};
}

const server_row *find(const service_call &call) {
    const auto *const row = std::find_if(std::begin(k_rows), std::end(k_rows),
                                         [&](const server_row &of) { return of.words == call.words; });
    return row != std::end(k_rows) ? row : nullptr;
}

/// All are on at first; a setting with an argument says it with that.
service_answer apply(const service_call &call) {
    const server_row *const row = find(call);
    const bool on = call.arguments.empty() || call.arguments.front() != "disable";
    return row != nullptr ? change(*row, on) : service_answer{service_outcome::not_supported};
}

service_answer withdraw(const service_call &call) {
    const server_row *const row = find(call);
    const bool on = call.words == "modbus_tcp"; // nothing switches it off but its argument
    return row != nullptr ? change(*row, on) : service_answer{service_outcome::not_supported};
}

bool is_here() {
    return !services_are_on_desk() && ::geteuid() == 0 && (has_systemd() || server_programs_are_there());
}

} // namespace

const service service_units = {"the service manager", is_here, apply, withdraw, nullptr, nullptr};
