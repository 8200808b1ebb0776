#include "lib/cmds/cmds_system.h"

#include "lib/base/parse_number.h"
#include "lib/base/result.h"
#include "lib/base/switch_ports.h"
#include "lib/cli/cli_cpu_load.h"
#include "lib/cli/cli_error.h"
#include "lib/cli/cli_output.h"
#include "lib/cli/cli_parser.h"
#include "lib/cli/cli_tree.h"
#include "lib/cli/csh_status.h"
#include "lib/cli/screen_length.h"
#include "lib/cmds/cmds_modes.h"
#include "lib/cmds/cmds_session.h"
#include "lib/sasi/sasi.h"

#include <algorithm>
#include <cstring>
#include <ctime>
#include <iterator>
#include <unistd.h>

namespace {

/// Handler of a command that takes no arguments; words after it are wrong.
template<int32_t (*run)()> int32_t alone(int32_t argc, const char *const * /*argv*/) {
    return argc == 0 ? run() : -1;
}

// ---- modes

int32_t enter_config() {
    cmds_enter_mode(k_cli_mode_config);
    return 0;
}

int32_t enter_interface_range(int32_t /*argc*/, const char *const *argv) {
    uint32_t ports = 0;
    if (!cmds_parse_ports(argv[0], &ports)) {
        cli_print("%% Ports are 1 to %d, as in 1,3-5\n", k_switch_ports);
        return k_cli_invalid_value;
    }
    cmds_enter_mode(k_mode_interface_range);
    cmds_set_ports(ports);
    return 0;
}

int32_t enter_vlan(int32_t /*argc*/, const char *const *argv) {
    int32_t id = 0;
    ignore_result(parse_number(argv[0], &id)); // in range, by the pattern
    cmds_enter_mode(k_mode_vlan);
    cmds_set_vlan(id);
    return 0;
}

int32_t leave_mode() {
    cmds_enter_mode(cmds_current_mode().parent);
    return 0;
}

int32_t leave_configuration() {
    cmds_enter_mode(k_mode_exec);
    return 0;
}

int32_t end_session() {
    cli_set_last_status(k_csh_status_session_ended);
    return 0;
}

// ---- showing

constexpr const char *k_no_answer = "the switch does not answer";

void show_line(const char *name, const char *text) { cli_print("%-20s: %s\n", name, text); }

int32_t show_version() {
    uint16_t type = 0;
    show_line("Software version", ZOP_VERSION);
    if (sasi_get_device_type(&type) != 0 || !sasi_is_open()) {
        show_line("Device type", k_no_answer);
    } else {
        cli_print("%-20s: 0x%04X\n", "Device type", type);
    }
    return 0;
}

int32_t show_uptime() {
    timespec up{};
    ::clock_gettime(CLOCK_BOOTTIME, &up);
    const auto seconds = static_cast<long long>(up.tv_sec);
    cli_print("%-20s: %lld days, %02lld:%02lld:%02lld\n", "System up for", seconds / 86400,
              seconds / 3600 % 24, seconds / 60 % 60, seconds % 60);
    return 0;
}

void show_address(const char *name, int32_t (*get)(uint32_t *address)) {
    uint32_t address = 0;
    if (get(&address) != 0 || !sasi_is_open()) {
        show_line(name, k_no_answer);
        return;
    }
    cli_print("%-20s: %u.%u.%u.%u\n", name, address >> 24, address >> 16 & 255, address >> 8 & 255,
              address & 255);
}

int32_t show_system_info() {
    char host[65] = "";
    ::gethostname(host, sizeof host - 1);
    show_line("System name", host);
    show_version();
    show_address("IP address", sasi_get_ip_address);
    show_address("Subnet mask", sasi_get_ip_netmask);
    return show_uptime();
}

int32_t show_cpu_load() {
    const int32_t load = std::max(cli_cpu_load(), 0); // the kernel may take waiting time back
    cli_print("%-20s: %d.%02d %%\n", "CPU load", load / 100, load % 100);
    return 0;
}

int32_t show_modes() {
    cli_print("   Id  Mode             Mask        Commands\n");
    for (const cmds_mode &mode : k_cmds_modes) {
        cli_print("  %3d  %-16s 0x%08X  %8zu\n", mode.id, mode.name, mode.mask, cli_command_count(mode.id));
    }
    return 0;
}

int32_t show_tree() {
    cli_dump_tree();
    return 0;
}

int32_t set_length(int32_t /*argc*/, const char *const *argv) {
    const int32_t result = screen_length_set(argv[0], cli_print);
    if (result == k_screen_length_not_stored) {
        cli_print("%% The setting cannot be stored\n");
    }
    return result;
}

int32_t set_session_length(int32_t /*argc*/, const char *const *argv) {
    int32_t length = 0;
    const int32_t refused = screen_length_read(argv[0], cli_print, &length);
    if (refused == 0) {
        cmds_set_screen_length(length);
    }
    return refused;
}

// ---- the commands. Every mode has its own "exit", and those of the configuration "end", by the rows of its
// id.

/// A command and the mode it is installed in; 0 for all of them.
struct placed_command {
    int32_t mode_id;
    cli_command command;
};

constexpr int32_t k_every_mode = 0;

constexpr placed_command k_commands[] = {
    {k_mode_exec,
     {"configure terminal",
      k_mask_user,
      0,
      nullptr,
      alone<enter_config>,
      {"Configure the switch.", "From this terminal.", "<cr>            Enter the configuration."}}},
    {k_mode_exec,
     {"exit",
      k_mask_user,
      0,
      nullptr,
      alone<end_session>,
      {"End the session.", "<cr>            End the session."}}},
    {k_cli_mode_config,
     {"interface range gigabitethernet1/0/",
      k_mask_config,
      0,
      "PORTLISTS",
      enter_interface_range,
      {"Configure interfaces.", "Several ones at once.", "Ports of the switch.", "Ports, such as 1,3-5.",
       "<cr>            Enter the configuration of these ports."}}},
    {k_cli_mode_config,
     {"vlan",
      k_mask_config,
      0,
      "<1-4094>",
      enter_vlan,
      {"Configure a VLAN.", "The VLAN's id.", "<cr>            Enter the configuration of this VLAN."}}},
    {k_cli_mode_config,
     {"exit",
      k_mask_config,
      0,
      nullptr,
      alone<leave_mode>,
      {"Leave the configuration.", "<cr>            Leave the configuration."}}},
    {k_cli_mode_config,
     {"end",
      k_mask_config,
      0,
      nullptr,
      alone<leave_configuration>,
      {"Leave the configuration.", "<cr>            Leave the configuration."}}},
    {k_mode_interface_range,
     {"exit",
      k_mask_config,
      0,
      nullptr,
      alone<leave_mode>,
      {"Go back to the configuration.", "<cr>            Go back to the configuration."}}},
    {k_mode_interface_range,
     {"end",
      k_mask_config,
      0,
      nullptr,
      alone<leave_configuration>,
      {"Leave the configuration.", "<cr>            Leave the configuration."}}},
    {k_mode_vlan,
     {"exit",
      k_mask_config,
      0,
      nullptr,
      alone<leave_mode>,
      {"Go back to the configuration.", "<cr>            Go back to the configuration."}}},
    {k_mode_vlan,
     {"end",
      k_mask_config,
      0,
      nullptr,
      alone<leave_configuration>,
      {"Leave the configuration.", "<cr>            Leave the configuration."}}},
    {k_every_mode,
     {"set length",
      k_mask_user,
      0,
      "VALUE",
      set_length,
      {"Change a setting.", "Lines of a screen.", "2 to 29999; 24 by default.",
       "<cr>            Set the lines of a screen."}}},
    {k_every_mode,
     {"set length",
      k_mask_user,
      0,
      "VALUE session",
      set_session_length,
      {"Change a setting.", "Lines of a screen.", "2 to 29999; 24 by default.", "Of this session only.",
       "<cr>            Set the lines of a screen of this session."}}},
    {k_every_mode,
     {"show version",
      k_mask_user,
      0,
      nullptr,
      alone<show_version>,
      {"Show the state of the switch.", "Version of the software.",
       "<cr>            Show the version of the software."}}},
    {k_every_mode,
     {"show uptime",
      k_mask_user,
      0,
      nullptr,
      alone<show_uptime>,
      {"Show the state of the switch.", "Time since the start.",
       "<cr>            Show the time since the start."}}},
    {k_every_mode,
     {"show system-info",
      k_mask_user,
      0,
      nullptr,
      alone<show_system_info>,
      {"Show the state of the switch.", "Name, address and versions.",
       "<cr>            Show name, address and versions."}}},
    {k_every_mode,
     {"show cpu load",
      k_mask_user,
      0,
      nullptr,
      alone<show_cpu_load>,
      {"Show the state of the switch.", "The processor.", "How busy it is.",
       "<cr>            Show the processor's load."}}},
    {k_every_mode,
     {"show modes",
      k_mask_user | k_mask_debug,
      0,
      nullptr,
      alone<show_modes>,
      {"Show the state of the switch.", "The modes of the shell, for debugging.",
       "<cr>            Show the modes of the shell."}}},
    {k_every_mode,
     {"show tree",
      k_mask_user | k_mask_debug,
      0,
      nullptr,
      alone<show_tree>,
      {"Show the state of the switch.", "The words of every mode, for debugging.",
       "<cr>            Show the words of every mode."}}},
};

bool install(const placed_command &row) {
    return std::all_of(std::begin(k_cmds_modes), std::end(k_cmds_modes), [&](const cmds_mode &mode) {
        return (row.mode_id != k_every_mode && row.mode_id != mode.id) ||
               cli_install(mode.id, &row.command) == 0;
    });
}

/// Reads a port number and moves past it; 0 when there is none in range.
int32_t read_port(const char *&at) {
    int32_t port = 0;
    const size_t digits = std::strspn(at, "0123456789");
    const bool is_port = parse_number({at, digits}, 1, k_switch_ports, &port);
    at += digits;
    return is_port ? port : 0;
}

} // namespace

int32_t cmds_system_install() {
    return std::all_of(std::begin(k_commands), std::end(k_commands), install) ? 0 : -1;
}

bool cmds_parse_ports(const char *list, uint32_t *ports) {
    uint32_t bits = 0;
    for (const char *at = list;; at++) {
        const int32_t first = read_port(at);
        int32_t last = first;
        if (*at == '-') {
            at++;
            last = read_port(at);
        }
        if (first == 0 || last < first) {
            return false;
        }
        for (int32_t port = first; port <= last; port++) {
            bits |= 1U << static_cast<uint32_t>(port);
        }
        if (*at == '\0') {
            *ports = bits;
            return true;
        }
        if (*at != ',') {
            return false;
        }
    }
}
