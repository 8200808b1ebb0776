// What the system says of itself, and settings of the shell.

#include "lib/cli/cli_cpu_load.h"
#include "lib/cli/cli_output.h"
#include "lib/cli/cli_tree.h"
#include "lib/cmds/cmds_build.h"
#include "lib/cmds/cmds_routes.h"
#include "lib/cmds/cmds_services.h"
#include "lib/cmds/cmds_session.h"
#include "lib/sasi/sasi.h"

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <unistd.h>

namespace {

/// What stands for a value that the switch has not told: a reason for people, nothing for programs.
report_cell no_answer() { return cmds_wants_json() ? "" : "the switch does not answer"; }

void add_version(report &to) {
    constexpr report_column k_type = {"device_type", "Device type"};
    uint16_t type = 0;
    report_add(to, {"software_version", "Software version"}, ZOP_VERSION);
    if (sasi_get_device_type(&type) != 0 || !sasi_is_open()) {
        report_add(to, k_type, no_answer());
        return;
    }
    char text[8];
    std::snprintf(text, sizeof text, "0x%04X", type);
    report_add(to, k_type, text);
}

void add_uptime(report &to) {
    timespec up{};
    ::clock_gettime(CLOCK_BOOTTIME, &up);
    const auto seconds = static_cast<long long>(up.tv_sec);
    char text[64];
    std::snprintf(text, sizeof text, "%lld days, %02lld:%02lld:%02lld", seconds / 86400, seconds / 3600 % 24,
                  seconds / 60 % 60, seconds % 60);
    report_add(to, {"uptime", "System up for"}, text);
}

void add_address(report &to, report_column name, int32_t (*get)(uint32_t *address)) {
    uint32_t address = 0;
    if (get(&address) != 0 || !sasi_answered()) {
        report_add(to, name, no_answer());
        return;
    }
    char text[sizeof "255.255.255.255"];
    std::snprintf(text, sizeof text, "%u.%u.%u.%u", address >> 24, address >> 16 & 255, address >> 8 & 255,
                  address & 255);
    report_add(to, name, text);
}

int32_t show_version(int32_t /*argc*/, const char *const * /*argv*/) {
    report version;
    add_version(version);
    cmds_print_report(version);
    return 0;
}

int32_t show_uptime(int32_t /*argc*/, const char *const * /*argv*/) {
    report uptime;
    add_uptime(uptime);
    cmds_print_report(uptime);
    return 0;
}

int32_t show_system_info(int32_t /*argc*/, const char *const * /*argv*/) {
    char host[65] = "";
    ::gethostname(host, sizeof host - 1);
    report system;
    report_add(system, {"system_name", "System name"}, host);
    add_version(system);
    add_address(system, {"ip_address", "IP address"}, sasi_get_ip_address);
    add_address(system, {"subnet_mask", "Subnet mask"}, sasi_get_ip_netmask);
    add_uptime(system);
    cmds_print_report(system);
    return 0;
}

int32_t show_cpu_load(int32_t /*argc*/, const char *const * /*argv*/) {
    const int32_t load = std::max(cli_cpu_load(), 0); // the kernel may take waiting time back
    report of_cpu;
    char text[16];
    std::snprintf(text, sizeof text, "%d.%02d", load / 100, load % 100);
    report_add(of_cpu, {"cpu_load_percent", "CPU load"}, text, "%");
    cmds_print_report(of_cpu);
    return 0;
}

int32_t show_modes(int32_t /*argc*/, const char *const * /*argv*/) {
    cli_print("   Id  Mode              Commands  Parent\n");
    for (const cmds_mode &mode : k_cmds_modes) {
        cli_print("  %3d  %-16s  %8zu  %s\n", mode.id, mode.name, cli_command_count(mode.id),
                  cmds_find_mode(mode.parent)->name);
    }
    return 0;
}

int32_t show_tree(int32_t /*argc*/, const char *const * /*argv*/) {
    cli_dump_tree();
    return 0;
}

int32_t show_services(int32_t /*argc*/, const char *const * /*argv*/) {
    cmds_print_report(cmds_report_routes());
    return 0;
}

constexpr cmds_word k_words[] = {
    {"version", "Version of the software."},
    {"uptime", "Time since the start."},
    {"system-info", "Name, address and versions."},
    {"model", "The model's number."},
    {"model-name", "The model's name, as it stands on the label."},
    {"services", "The programs of this switch that carry commands out."},
    {"cpu", "The processor."},
    {"load", "How busy it is."},
    {"modes", "The modes of the shell, for debugging."},
    {"tree", "The words of every mode, for debugging."},
};

constexpr cmds_form k_forms[] = {
    show(k_shown_to_all, "show version", "Show the version of the software.").by(show_version),
    show(k_shown_to_all, "show uptime", "Show the time since the start.").by(show_uptime),
    show(k_shown_to_all, "show system-info", "Show name, address and versions.").by(show_system_info),
    show(k_shown_to_all, "show model", "Show the model's number, by which it is ordered."),
    show(k_shown_to_all, "show model-name", "Show the model's name."),
    show(k_shown_to_all, "show cpu load", "Show the processor's load.").by(show_cpu_load),
    show(k_shown_to_all, "show modes", "Show the modes of the shell.").by(show_modes),
    show(k_shown_to_all, "show tree", "Show the words of every mode.").by(show_tree),
    show(k_shown, "show services", "Show what carries out the commands of each family here.")
        .by(show_services),
};

} // namespace

CMDS_FAMILY(system, "show", {k_mask_user, 0, 0, 8}, {k_mask_config, 0, 0, 1});
