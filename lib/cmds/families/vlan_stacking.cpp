// QinQ: customers' VLANs carried through a provider's network within outer VLANs.

#include "lib/cmds/cmds_build.h"

namespace {

constexpr cmds_where k_rule = cmds_in(k_mode_vlan_stacking);

constexpr cmds_word k_words[] = {
    {"vlan-stacking", "QinQ: VLANs within VLANs, 802.1ad."},
    {"port-based", "What the port is in QinQ."},
    {"(normal|access|tunnel)",
     "normal: no QinQ, the default; access: to a customer; tunnel: to the provider's network."},
    {"portbased-qinq", "Outer tag for all frames from a customer that no rule of selective QinQ takes."},
    {"spvid", "The outer VLAN, the provider's."},
    {"<1-4094>", "A VLAN's id; none by default."},
    {"priority", "The priority of the outer tag."},
    {"(copy|0|1|2|3|4|5|6|7)", "copy: that of the inner tag, the default; or 0, low, to 7, high."},
    {"tunnel-tpid", "The TPID by which the port knows and sends outer tags."},
    {"(8100|88a8)", "A TPID, hexadecimal; what svlan-tpid8100 says by default."},
    {"tpid-table", "TPIDs for networks that use neither 8100 nor 88a8."},
    {"<1-4>", "Number of an entry, 1 to 4."},
    {"HEX_VALUE", "A TPID, hexadecimal, 600 to ffff, such as 9100; none by default."},
    {"tpid-inform", "A message in the log when a frame at a tunnel port has another TPID than the port."},
    {"tpid-inform (enable|disable)", "disable by default."},
    {"svlan-tpid8100", "The TPID of outer tags, where a port has no other."},
    {"svlan-tpid8100 (enable|disable)", "enable: 8100; disable: 88a8, the default."},
    {"cvid", "Inner VLANs, the customer's, that the rule takes."},
    {"access-ports", "Ports to customers, at which the rule adds outer tags."},
    {"tunnel-ports", "Ports to the provider's network, to which the frames go."},
    {"selective-qinq", "The rules that choose the outer VLAN by the inner one."},
};

constexpr cmds_form k_forms[] = {
    setting(k_ports, "vlan-stacking port-based (normal|access|tunnel)", "Choose what the port is in QinQ.")
        .at_first("normal"),
    setting(k_ports, "vlan-stacking portbased-qinq spvid <1-4094>",
            "Give frames from the customer this outer VLAN; none by default."),
    setting(k_ports, "vlan-stacking portbased-qinq priority (copy|0|1|2|3|4|5|6|7)",
            "Give their outer tags this priority.")
        .at_first("copy"),
    setting(k_ports, "vlan-stacking tunnel-tpid (8100|88a8)", "Use this TPID for outer tags.")
        .one_of("vlan-stacking tunnel-tpid"),
    setting(k_ports, "vlan-stacking tunnel-tpid tpid-table <1-4>",
            "Use the TPID of this entry for outer tags.")
        .one_of("vlan-stacking tunnel-tpid"),
    setting(k_config, "vlan-stacking tpid-table <1-4> HEX_VALUE", "Set a TPID that ports can use.")
        .keyed(1)
        .up_to(4),
    setting(k_config, "vlan-stacking tpid-inform (enable|disable)", "Log frames of a wrong TPID, or do not.")
        .at_first("disable"),
    setting(k_config, "svlan-tpid8100 (enable|disable)", "Use 8100 for outer tags, or 88a8.")
        .at_first("disable"),
    setting(k_rule, "cvid VLANLISTS", "Take frames of these inner VLANs; none by default."),
    setting(k_rule, "spvid <1-4094>", "Give them this outer VLAN; none by default."),
    setting(k_rule, "priority (copy|0|1|2|3|4|5|6|7)", "Give their outer tags this priority.")
        .at_first("copy"),
    setting(k_rule, "access-ports PORTLISTS", "Take frames that arrive at these ports; none by default."),
    setting(k_rule, "tunnel-ports PORTLISTS", "Send them to these ports; none by default."),
    undo(k_ports, "no vlan-stacking portbased-qinq spvid", "Give frames from the customer no outer VLAN."),
    undo(k_ports, "no vlan-stacking tunnel-tpid", "Use the TPID that svlan-tpid8100 says again."),
    undo(k_config, "no vlan-stacking tpid-table <1-4>", "Empty an entry of the table of TPIDs."),
    show(k_shown, "show vlan-stacking", "Show the ports: what each is, its outer VLAN and its TPID."),
    show(k_shown, "show vlan-stacking selective-qinq", "Show the rules of selective QinQ."),
    show(k_shown, "show vlan-stacking tpid-table", "Show the TPIDs that ports can use."),
};

} // namespace

CMDS_FAMILY(vlan_stacking, "vlan-stacking", {k_mask_config, 13, 3, 3});
