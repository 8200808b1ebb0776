#include "lib/services/tacacs_report.h"

#include "lib/base/bytes.h"

#include <arpa/inet.h>
#include <array>
#include <span>

namespace {

// What a byte says, from 0, which is never told.
constexpr const char *k_switch[] = {"", "off", "on"};
constexpr const char *k_set[] = {"", "none", "set"};
constexpr const char *k_own_key[] = {"", "shared", "own"};
constexpr const char *k_login[] = {"", "local", "server", "server-local"};
constexpr const char *k_server[] = {"", "not asked yet", "answers", "does not answer"};

/// The word for a byte; none for one beyond them.
std::string word(std::span<const char *const> words, uint8_t byte) {
    return byte < words.size() ? words[byte] : "";
}

std::string address_of(const tacacs_server_state &server) {
    std::array<char, INET6_ADDRSTRLEN> text{};
    const bool known = server.family == k_tacacs_ipv4 || server.family == k_tacacs_ipv6;
    const int family = server.family == k_tacacs_ipv4 ? AF_INET : AF_INET6;
    return known && ::inet_ntop(family, server.address, text.data(), text.size()) != nullptr ? text.data()
                                                                                             : "";
}

report_cell port_of(const tacacs_server_state &server) {
    const uint16_t port = get_be16(server.port);
    return port != 0 ? report_cell(int64_t{port}) : report_cell("");
}

void add_servers(const tacacs_state &state, report &to) {
    report_table &table = report_add_table(
        to, "servers", "Servers",
        {{"number", "Number"}, {"address", "Address"}, {"port", "Port"}, {"key", "Key"}, {"state", "State"}});
    for (const tacacs_server_state &server : state.servers) {
        if (server.number >= 1 && server.number <= k_tacacs_servers_max) {
            table.rows.push_back({int64_t{server.number}, address_of(server), port_of(server),
                                  word(k_own_key, server.own_key), word(k_server, server.state)});
        }
    }
}

} // namespace

void tacacs_report(const tacacs_state &state, report &to) {
    static_assert(k_tacacs_lines == 4);
    const struct {
        report_column name;
        std::span<const char *const> words;
        uint8_t told;
    } k_values[] = {
        {{"enabled", "TACACS+"}, k_switch, state.enabled},
        {{"shared_key", "Shared key"}, k_set, state.shared_key},
        {{"login_console", "Login, console"}, k_login, state.login[0]},
        {{"login_telnet", "Login, telnet"}, k_login, state.login[1]},
        {{"login_ssh", "Login, SSH"}, k_login, state.login[2]},
        {{"login_web", "Login, web pages"}, k_login, state.login[3]},
        {{"authorization_exec", "Levels by server"}, k_switch, state.author_exec},
        {{"authorization_commands", "Commands by server"}, k_switch, state.author_commands},
        {{"authorization_console", "Asked at console"}, k_switch, state.author_console},
        {{"accounting_commands", "Commands reported"}, k_switch, state.acct_commands},
    };
    for (const auto &value : k_values) {
        report_add(to, value.name, word(value.words, value.told));
    }
    add_servers(state, to);
}
