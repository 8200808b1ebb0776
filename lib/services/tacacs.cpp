// The TACACS+ daemon, over the IPC server.

#include "lib/base/bytes.h"
#include "lib/base/parse_number.h"
#include "lib/base/take_piece.h"
#include "lib/ipc/ipc_api.h"
#include "lib/services/services.h"
#include "lib/services/tacacs_exchange.h"
#include "lib/services/tacacs_report.h"

#include <algorithm>
#include <arpa/inet.h>
#include <cstring>
#include <iterator>

namespace {

using command = tacacs_command;
using arguments = std::span<const std::string>;

constexpr const char *k_silent = "The TACACS+ daemon does not answer";

// ---- payloads

/// Puts what arguments say into a payload, and what a setting is about. Returns null, or what is wrong.
using payload_fn = const char *(*)(uint8_t about, arguments given, tacacs_request *to);

template<typename Layout> void put_payload(const Layout &from, tacacs_request *to) {
    static_assert(sizeof from <= k_tacacs_request_max);
    std::memcpy(to->payload.data(), &from, sizeof from);
    to->size = sizeof from;
}

const char *put_key(std::string_view key, char (&field)[k_tacacs_key_size]) {
    if (key.size() >= sizeof field) {
        return "A key has 63 characters at most";
    }
    std::copy(key.begin(), key.end(), field);
    return nullptr;
}

const char *key_payload(uint8_t /*about*/, arguments given, tacacs_request *to) {
    tacacs_key record = {};
    const char *const fault = given.empty() ? nullptr : put_key(given[0], record.key);
    put_payload(record, to);
    return fault;
}

const char *login_payload(uint8_t about, arguments /*given*/, tacacs_request *to) {
    put_payload(tacacs_login{about}, to);
    return nullptr;
}

/// Of "address port 49 key STRINGS", of which all but the address may be missing.
const char *put_server(arguments given, tacacs_server *record) {
    uint16_t port = k_tacacs_port;
    const int family = record->family == k_tacacs_ipv4 ? AF_INET : AF_INET6;
    if (::inet_pton(family, given[0].c_str(), record->address) != 1) {
        return "This is no address";
    }
    for (given = given.subspan(1); given.size() >= 2; given = given.subspan(2)) {
        if (given[0] == "key") {
            if (const char *const fault = put_key(given[1], record->key); fault != nullptr) {
                return fault;
            }
        } else if (!parse_number<uint16_t>(given[1], 1, UINT16_MAX, &port)) {
            return "A port is 1 to 65535";
        }
    }
    put_be16(record->port, port);
    return nullptr;
}

const char *server_payload(uint8_t about, arguments given, tacacs_request *to) {
    tacacs_server record = {};
    record.family = about;
    if (given.empty() || !parse_number<uint8_t>(given[0], 1, k_tacacs_servers_max, &record.number)) {
        return "Servers are 1 to 4";
    }
    const char *const fault = given.size() > 1 ? put_server(given.subspan(1), &record) : nullptr;
    put_payload(record, to);
    return fault;
}

// ---- settings

/// A setting, and the requests that set it and take it back.
struct setting_row {
    std::string_view words; // without "tacacs-plus"
    command set;
    command undo;
    payload_fn payload = nullptr; // null: there is none
    uint8_t about = 0;            // for the payload: an address family or a line
    uint8_t keys = 0;             // arguments that tell settings of these words apart
};

constexpr setting_row server(std::string_view words, uint8_t family) {
    return {words, command::set_server, command::no_server, server_payload, family, 1};
}

constexpr setting_row login(std::string_view words, tacacs_line line) {
    return {words, command::set_login, command::no_login, login_payload, static_cast<uint8_t>(line)};
}

constexpr setting_row k_settings[] = {
    {"enable", command::set_new_model, command::no_new_model},
    server("server-host", k_tacacs_ipv4),
    server("server-ipv6-host", k_tacacs_ipv6),
    {"server-key", command::set_key, command::no_key, key_payload},
    login("authentication line-console", tacacs_line::console),
    login("authentication line-telnet", tacacs_line::telnet),
    login("authentication line-ssh", tacacs_line::ssh),
    login("authentication web", tacacs_line::web),
    {"authorization exec", command::set_author_exec, command::no_author_exec},
    {"authorization commands", command::set_author_commands, command::no_author_commands},
    {"authorization line-console", command::console_enable, command::console_disable},
    {"accounting commands", command::set_acct_commands, command::no_acct_commands},
};

const setting_row *find_row(std::string_view words) {
    take_piece(words);
    const auto *const found = std::find_if(std::begin(k_settings), std::end(k_settings),
                                           [=](const setting_row &row) { return row.words == words; });
    return found != std::end(k_settings) ? found : nullptr;
}

/// What sets this value; of who checks the passwords on a line each is a request of its own.
command command_for(const setting_row &row, arguments given) {
    if (row.set != command::set_login || given.empty() || given[0] == "server") {
        return row.set;
    }
    return given[0] == "local" ? row.undo : command::set_login_local;
}

const char *fill(const setting_row &row, arguments given, tacacs_request *to) {
    return row.payload != nullptr ? row.payload(row.about, given, to) : nullptr;
}

service_answer exchange(const tacacs_request &request, const tacacs_request &undo, std::span<uint8_t> reply) {
    int32_t status = 0;
    if (!tacacs_exchange(request, undo, reply, &status)) {
        return {service_outcome::refused, k_silent};
    }
    if (status != 0) {
        return {service_outcome::refused,
                "The TACACS+ daemon refuses it with status " + std::to_string(status)};
    }
    return {};
}

// ---- the service

bool is_here() { return ipc_route_is_served(k_tacacs_route); }

service_answer withdraw(const service_call &call) {
    const setting_row *const row = find_row(call.words);
    if (row == nullptr || call.arguments.size() < row->keys) {
        return {service_outcome::not_supported};
    }
    tacacs_request undo = {row->undo};
    const char *const fault = fill(*row, call.arguments.first(row->keys), &undo);
    return fault != nullptr ? service_answer{service_outcome::refused, fault} : exchange(undo, {}, {});
}

service_answer apply(const service_call &call) {
    const setting_row *const row = find_row(call.words);
    if (row == nullptr || call.arguments.size() < row->keys) {
        return {service_outcome::not_supported};
    }
    tacacs_request set = {command_for(*row, call.arguments)};
    tacacs_request undo = {row->undo};
    const char *fault = fill(*row, call.arguments, &set);
    fault = fault != nullptr ? fault : fill(*row, call.arguments.first(row->keys), &undo);
    return fault != nullptr ? service_answer{service_outcome::refused, fault} : exchange(set, undo, {});
}

service_answer show(const service_call & /*call*/, report &to) {
    std::array<uint8_t, sizeof(tacacs_state)> reply = {};
    service_answer answer = exchange({command::show}, {}, reply);
    if (answer.outcome == service_outcome::done) {
        tacacs_report(load_native<tacacs_state>(reply.data()), to);
    }
    return answer;
}

} // namespace

const service service_tacacs = {"the TACACS+ daemon", is_here, apply, withdraw, show, nullptr,
                                tacacs_comings};
