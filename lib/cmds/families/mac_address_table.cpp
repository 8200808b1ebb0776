// The table of MAC addresses, by which frames find their ports.

#include "lib/base/invariant.h"
#include "lib/base/parse_number.h"
#include "lib/base/take_piece.h"
#include "lib/cmds/cmds_build.h"
#include "lib/cmds/cmds_look.h"
#include "lib/cmds/cmds_services.h"

namespace {

/// Adds the addresses that lines of these words enter: "MAC vlan ID", and perhaps " port PORTS".
void add_addresses(const cmds_section &configured, std::string_view words, const char *kind,
                   report_table *to) {
    for (const std::string &line : cmds_look_up_all(configured, words)) {
        std::string_view rest = line;
        const std::string address(take_piece(rest));
        take_piece(rest); // "vlan"
        int64_t vlan = 0;
        const bool is_number = parse_number(take_piece(rest), &vlan);
        INVARIANT(is_number); // it is kept as one
        take_piece(rest);     // "port"
        std::vector<report_cell> row = {vlan, address};
        if (kind != nullptr) {
            row.emplace_back(kind);
        }
        row.emplace_back(std::string(rest));
        to->rows.push_back(std::move(row));
    }
}

int32_t show_static(int32_t /*argc*/, const char *const * /*argv*/) {
    const cmds_section configured = cmds_global_section();
    report shown;
    report_table &table =
        report_add_table(shown, "addresses", "Addresses as configured",
                         {{"vlan", "VLAN"}, {"mac", "MAC address"}, {"kind", "Kind"}, {"port", "Port"}});
    add_addresses(configured, "mac-address-table static mac", "static", &table);
    add_addresses(configured, "mac-address-table refusal mac", "refused", &table);
    cmds_print_report(shown);
    return 0;
}

int32_t show_multicast(int32_t /*argc*/, const char *const * /*argv*/) {
    report shown;
    report_table &table = report_add_table(shown, "addresses", "Group addresses as configured",
                                           {{"vlan", "VLAN"}, {"mac", "MAC address"}, {"ports", "Ports"}});
    add_addresses(cmds_global_section(), "mac-address-table multicast mac", nullptr, &table);
    cmds_print_report(shown);
    return 0;
}

constexpr cmds_where k_ports_and_vlans = {k_ports.modes | k_vlans.modes, k_mask_config};

constexpr cmds_word k_words[] = {
    {"mac-address-table", "The table of MAC addresses, by which frames find their ports."},
    {"aging-time", "How long a learned address is kept while no frame comes from it."},
    {"<10-1000000>", "Seconds, 10 to 1000000; 300 by default."},
    {"static", "Addresses that were entered; they never age."},
    {"multicast", "Group addresses with the ports that their frames go to."},
    {"refusal", "Addresses whose frames are dropped, from them and to them."},
    {"dynamic", "Addresses that were learned."},
    {"mac", "One MAC address."},
    {"vlan", "The addresses of one VLAN."},
    {"MACADDR vlan", "The VLAN in which it holds."},
    {"port", "The addresses at ports."},
    {"VLANID port", "Where its frames go to."},
    {"learning", "Whether source addresses are put into the table; on by default."},
    {"limit", "How many addresses are learned at the port."},
    {"<1-8192>", "Addresses, 1 to 8192; no limit by default."},
};

constexpr cmds_form k_forms[] = {
    setting(k_config, "mac-address-table aging-time <10-1000000>",
            "Keep learned addresses so long; 300 s by default.")
        .at_first("300"),
    setting(k_config, "mac-address-table static mac MACADDR vlan VLANID port PORT_ID",
            "Send frames to this address to this port only.")
        .keyed(2),
    setting(k_config, "mac-address-table multicast mac MACADDR vlan VLANID port PORTLISTS",
            "Send frames to this group address to these ports only.")
        .keyed(2),
    setting(k_config, "mac-address-table refusal mac MACADDR vlan VLANID",
            "Drop frames from this address and to it.")
        .keyed(2),
    setting(k_ports_and_vlans, "mac-address-table learning (enable|disable)",
            "Learn addresses here, or flood frames to them; on by default.")
        .at_first("enable"),
    setting(k_ports, "mac-address-table limit <1-8192>",
            "Learn so many addresses at the port, and drop frames from others."),
    action(k_actions, "clear mac-address-table dynamic", "Forget all learned addresses."),
    action(k_actions, "clear mac-address-table dynamic mac MACADDR", "Forget this address in all VLANs."),
    action(k_actions, "clear mac-address-table dynamic port PORTLISTS",
           "Forget what was learned at these ports."),
    action(k_actions, "clear mac-address-table dynamic vlan VLANID", "Forget what was learned in this VLAN."),
    undo(k_config, "no mac-address-table aging-time", "Keep learned addresses for 300 s again."),
    undo(k_config, "no mac-address-table static mac MACADDR vlan VLANID",
         "Let this address be learned again."),
    undo(k_config, "no mac-address-table multicast mac MACADDR vlan VLANID",
         "Treat this group address like all others again."),
    undo(k_config, "no mac-address-table refusal mac MACADDR vlan VLANID",
         "Forward frames from this address and to it again."),
    undo(k_ports, "no mac-address-table limit", "Learn any number of addresses at the port."),
    show(k_shown, "show mac-address-table", "Show the aging time and all addresses with their ports."),
    show(k_shown, "show mac-address-table dynamic", "Show the addresses that were learned."),
    show(k_shown, "show mac-address-table static", "Show the addresses that were entered, refused ones too.")
        .by(show_static),
    show(k_shown, "show mac-address-table multicast",
         "Show the group addresses that were entered, with their ports.")
        .by(show_multicast),
    show(k_shown, "show mac-address-table mac MACADDR", "Show where this address is, in all VLANs."),
    show(k_shown, "show mac-address-table port PORTLISTS", "Show the addresses at these ports."),
    show(k_shown, "show mac-address-table vlan VLANID", "Show the addresses of this VLAN."),
};

} // namespace

CMDS_FAMILY(mac_address_table, "mac-address-table", {k_mask_config, 10, 5, 7});
