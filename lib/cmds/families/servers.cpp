// The servers by which the switch is managed, and Modbus TCP.

#include "lib/cmds/cmds_build.h"
#include "lib/cmds/cmds_look.h"
#include "lib/cmds/cmds_services.h"

namespace {

struct server_row {
    const char *name;
    const char *off;       // the line that switches it off
    const char *port_line; // that gives it another port; null: it has one port alone
    int64_t port;          // its own
    const char *protocol;
};

constexpr server_row k_servers[] = {
    {"http", "no http server", "http server port", 80, "TCP"},
    {"https", "no https server", nullptr, 443, "TCP"},
    {"telnet", "no telnet server", "telnet server port", 23, "TCP"},
    {"ssh", "no ssh server", nullptr, 22, "TCP"},
    {"snmp_v1v2c", "no snmp_v1v2c server", nullptr, 161, "UDP"},
    {"snmp_v3", "no snmp_v3 server", nullptr, 161, "UDP"},
    {"modbus_tcp", "modbus_tcp disable", nullptr, 502, "TCP"},
};

int64_t port_of(const server_row &server, const cmds_section &configured) {
    return server.port_line != nullptr ? cmds_look_up_number(configured, server.port_line, server.port)
                                       : server.port;
}

int32_t show_servers(int32_t /*argc*/, const char *const * /*argv*/) {
    const cmds_section configured = cmds_global_section();
    report shown;
    report_table &table = report_add_table(
        shown, "servers", "Servers as configured",
        {{"name", "Server"}, {"state", "State"}, {"port", "Port"}, {"protocol", "Protocol"}});
    for (const server_row &server : k_servers) {
        const bool on = !cmds_look_up(configured, server.off);
        table.rows.push_back({server.name, on ? "on" : "off", port_of(server, configured), server.protocol});
    }
    cmds_print_report(shown);
    return 0;
}

constexpr cmds_word k_words[] = {
    {"http", "Web pages."},
    {"https", "Web pages, encrypted."},
    {"telnet", "The shell over the network."},
    {"ssh", "The shell over the network, encrypted."},
    {"snmp_v1v2c", "SNMP with communities, versions 1 and 2c."},
    {"snmp_v3", "SNMP with users, version 3."},
    {"modbus_tcp", "Modbus TCP, port 502."},
    {"server", "Whether it is served."},
    {"servers", "The servers by which the switch is managed."},
    {"port", "Its TCP port."},
    {"<1-65535>", "A TCP port."},
};

constexpr cmds_form k_forms[] = {
    setting(k_config, "http server", "Serve web pages.").on_at_first(),
    setting(k_config, "http server port <1-65535>", "Serve web pages at this port; 80 by default.")
        .at_first("80"),
    setting(k_config, "https server", "Serve encrypted web pages.").on_at_first(),
    setting(k_config, "snmp_v1v2c server", "Answer SNMP versions 1 and 2c.").on_at_first(),
    setting(k_config, "snmp_v3 server", "Answer SNMP version 3.").on_at_first(),
    setting(k_config, "ssh server", "Let administrators in by SSH.").on_at_first(),
    setting(k_config, "telnet server", "Let administrators in by telnet.").on_at_first(),
    setting(k_config, "telnet server port <1-65535>", "Serve telnet at this port; 23 by default.")
        .at_first("23"),
    setting(k_config, "modbus_tcp (enable|disable)", "Let Modbus clients read the switch, or not.")
        .at_first("enable"),
    undo(k_config, "no http server", "Serve no web pages."),
    undo(k_config, "no http server port", "Serve web pages at port 80 again."),
    undo(k_config, "no https server", "Serve no encrypted web pages."),
    undo(k_config, "no snmp_v1v2c server", "Do not answer SNMP versions 1 and 2c."),
    undo(k_config, "no snmp_v3 server", "Do not answer SNMP version 3."),
    undo(k_config, "no ssh server", "Let nobody in by SSH."),
    undo(k_config, "no telnet server", "Let nobody in by telnet."),
    undo(k_config, "no telnet server port", "Serve telnet at port 23 again."),
    show(k_shown, "show servers", "Show which servers are configured to be on, and at which ports.")
        .by(show_servers),
};

} // namespace

CMDS_FAMILY(servers, "http", {k_mask_config, 9, 8, 1});
