// The state of ports and of IP interfaces, and alarms.

#include "lib/cmds/cmds_build.h"

namespace {

constexpr cmds_word k_words[] = {
    {"interface", "Ports, and the IP interfaces of VLANs."},
    {"gigabitethernet1/0/", "A port of the switch."},
    {"vlan", "The IP interfaces of VLANs."},
    {"alarm-info", "Alarms that are raised."},
    {"port-statistics", "Frames and errors, counted by port."},
    {"port-utilization", "How much of its speed each port carries."},
    {"rmon", "Remote monitoring, RFC 2819."},
    {"IFNAME", "A port's name, such as gigabitethernet1/0/3."},
};

constexpr cmds_form k_forms[] = {
    show(k_shown, "show interface", "Show link, speed and settings of all ports."),
    show(k_shown, "show interface gigabitethernet1/0/ PORT_ID", "Show a port in full, with its counters."),
    show(k_shown, "show interface vlan", "Show the IP interfaces of VLANs and their addresses."),
    show(k_shown, "show alarm-info", "Show the alarms that are raised, and since when."),
    show(k_shown, "show port-statistics", "Show frames, bytes and errors of all ports."),
    show(k_shown, "show port-utilization", "Show the load of all ports in percent."),
    show(k_shown, "show rmon statistics", "Show the RMON counters of all ports."),
    show(k_shown, "show rmon statistics IFNAME", "Show the RMON counters of a port."),
};

} // namespace

CMDS_FAMILY(show_ports, "show", {k_mask_config, 0, 0, 8});
