#include "lib/cmds/cmds_vlans.h"

#include "lib/base/parse_number.h"
#include "lib/base/switch_ports.h"
#include "lib/base/take_piece.h"
#include "lib/cmds/cmds_config.h"
#include "lib/cmds/cmds_look.h"
#include "lib/cmds/cmds_services.h"
#include "lib/cmds/cmds_values.h"

#include <algorithm>
#include <array>

namespace {

/// A VLAN's fixed members.
struct members {
    std::vector<cmds_span> tagged;
    std::vector<cmds_span> untagged;
};

struct vlan_entry {
    int32_t id;
    cmds_section section;
    members ports;
};

members members_of(const cmds_section &vlan) {
    members found;
    for (const std::string &line : cmds_look_up_all(vlan, "add fixed")) {
        std::string_view rest = line;
        int32_t port = 0;
        if (parse_number(take_piece(rest), &port)) {
            (rest == "tagged" ? found.tagged : found.untagged).push_back({port, port});
        }
    }
    return found;
}

std::vector<vlan_entry> all_vlans() {
    std::vector<vlan_entry> vlans;
    for (cmds_section &section : cmds_sections("vlan")) {
        int32_t id = 0;
        if (parse_number(section.name, &id)) {
            members ports = members_of(section);
            vlans.push_back({id, std::move(section), std::move(ports)});
        }
    }
    return vlans;
}

/// As a list in its one form, or "" for none.
std::string list_of(const std::vector<cmds_span> &numbers) {
    std::string text;
    for (const cmds_span &one : numbers) {
        text += (text.empty() ? "" : ",") + std::to_string(one.low);
    }
    std::vector<cmds_span> joined;
    return cmds_read_list(text, 1, k_vlan_max, &joined) ? cmds_list_text(joined) : "";
}

std::string value_or(const cmds_section &in, std::string_view words, const char *at_first) {
    return cmds_look_up(in, words).value_or(at_first);
}

/// A table of the VLANs among these.
int32_t show_table(const std::vector<cmds_span> &wanted) {
    report shown;
    report_add(shown, {"learning", "Learning"},
               value_or(cmds_global_section(), "vlan learning", "independent"));
    report_table &table = report_add_table(shown, "vlans", "VLANs as configured",
                                           {{"vlan", "VLAN"},
                                            {"name", "Name"},
                                            {"state", "State"},
                                            {"tagged_ports", "Tagged ports"},
                                            {"untagged_ports", "Untagged ports"}});
    for (const vlan_entry &vlan : all_vlans()) {
        const bool is_wanted = std::any_of(wanted.begin(), wanted.end(), [&](const cmds_span &span) {
            return vlan.id >= span.low && vlan.id <= span.high;
        });
        if (is_wanted) {
            table.rows.push_back({vlan.id, value_or(vlan.section, "name", ""),
                                  value_or(vlan.section, "state", "active"), list_of(vlan.ports.tagged),
                                  list_of(vlan.ports.untagged)});
        }
    }
    cmds_print_report(shown);
    return 0;
}

/// VLANs by the port that is a member of them.
using memberships = std::array<members, k_switch_ports + 1>;

void add_memberships(const std::vector<cmds_span> &ports, int32_t vlan, std::vector<cmds_span> members::*list,
                     memberships *to) {
    for (const cmds_span &port : ports) {
        ((*to)[static_cast<size_t>(port.low)].*list).push_back({vlan, vlan});
    }
}

memberships all_memberships() {
    memberships found;
    for (const vlan_entry &vlan : all_vlans()) {
        add_memberships(vlan.ports.tagged, vlan.id, &members::tagged, &found);
        add_memberships(vlan.ports.untagged, vlan.id, &members::untagged, &found);
    }
    return found;
}

/// The settings of each port, by its number; of those without any, none.
std::array<cmds_section, k_switch_ports + 1> all_ports() {
    std::array<cmds_section, k_switch_ports + 1> ports;
    for (cmds_section &section : cmds_sections("interface gigabitethernet1/0/")) {
        size_t port = 0;
        if (parse_number(section.name, 1, k_switch_ports, &port)) {
            ports[port] = std::move(section);
        }
    }
    return ports;
}

} // namespace

int32_t cmds_show_vlans(int32_t /*argc*/, const char *const * /*argv*/) {
    return show_table({{1, k_vlan_max}});
}

int32_t cmds_show_vlan(int32_t /*argc*/, const char *const *argv) {
    int32_t id = 0;
    const std::vector<vlan_entry> vlans = all_vlans();
    const auto found =
        parse_number(argv[0], &id)
            ? std::find_if(vlans.begin(), vlans.end(), [=](const vlan_entry &vlan) { return vlan.id == id; })
            : vlans.end();
    if (found == vlans.end()) {
        return cmds_refuse("This VLAN is not configured");
    }
    report shown;
    report_add(shown, {"vlan", "VLAN, as configured"}, id);
    report_add(shown, {"name", "Name"}, value_or(found->section, "name", ""));
    report_add(shown, {"state", "State"}, value_or(found->section, "state", "active"));
    report_add(shown, {"unknown_unicast", "Unknown unicast"},
               value_or(found->section, "unknown-unicast", "flood"));
    report_add(shown, {"tagged_ports", "Tagged ports"}, list_of(found->ports.tagged));
    report_add(shown, {"untagged_ports", "Untagged ports"}, list_of(found->ports.untagged));
    cmds_print_report(shown);
    return 0;
}

int32_t cmds_show_vlan_range(int32_t /*argc*/, const char *const *argv) {
    std::vector<cmds_span> wanted;
    return cmds_read_list(argv[0], 1, k_vlan_max, &wanted)
               ? show_table(wanted)
               : cmds_refuse("VLANs are 1 to 4094, as in 1,10-19");
}

int32_t cmds_show_vlan_ports(int32_t /*argc*/, const char *const * /*argv*/) {
    const memberships member = all_memberships();
    const auto ports = all_ports();
    report shown;
    report_table &table = report_add_table(shown, "ports", "Ports as configured",
                                           {{"port", "Port"},
                                            {"pvid", "PVID"},
                                            {"tagged_vlans", "Tagged VLANs"},
                                            {"untagged_vlans", "Untagged VLANs"},
                                            {"forbidden_vlans", "Forbidden VLANs"},
                                            {"acceptable_frames", "Frames"},
                                            {"ingress_filter", "Ingress filter"}});
    for (size_t port = 1; port <= k_switch_ports; port++) {
        const int64_t pvid = cmds_look_up_number(ports[port], "vlan pvid", 1);
        table.rows.push_back({static_cast<int64_t>(port), pvid, list_of(member[port].tagged),
                              list_of(member[port].untagged),
                              value_or(ports[port], "vlan forbidden vlan-list", ""),
                              value_or(ports[port], "vlan acceptable-frames", "all"),
                              cmds_look_up(ports[port], "no vlan ingress-filter") ? "off" : "on"});
    }
    cmds_print_report(shown);
    return 0;
}
