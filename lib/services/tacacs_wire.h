#pragma once

#include "lib/ipc/ipc_wire.h"

#include <cstddef>
#include <cstdint>

// What the shell and the TACACS+ daemon tell each other over the IPC server. The shell sends requests of
// route 3, and the daemon answers each with a status: 0 for done, any other but 3 for refused. Numbers are
// high byte first; a text is padded with NULs to the whole of its field, with one NUL at least.
//
// When the daemon says hello it has no settings; the shell then sends all there are. It sends those again
// also when nothing was lost, so that doing one twice is doing it once.

inline constexpr uint8_t k_tacacs_route = 3;

/// Requests. One that takes back has the layout of the one that sets, of which all but what names the setting
/// is 0.
enum class tacacs_command : uint16_t {
    none = 0,                 // no request
    set_server = 69,          // tacacs_server: by family and number; takes the place of an earlier one
    no_server = 71,           // tacacs_server: family and number
    set_key = 75,             // tacacs_key: for the servers that have none of their own
    no_key = 77,              // tacacs_key: 0
    set_new_model = 78,       // no payload: TACACS+ is used; what is set otherwise counts only then
    no_new_model = 80,        // no payload
    set_login = 81,           // tacacs_login: servers check the passwords on this line
    no_login = 83,            // tacacs_login: the switch's accounts do, whichever of the two was set
    set_login_local = 84,     // tacacs_login: servers do, and the accounts when no server answers
    set_author_commands = 93, // no payload: servers are asked before each command
    no_author_commands = 95,
    set_author_exec = 96, // no payload: servers say what level a user has
    no_author_exec = 98,
    set_acct_commands = 99, // no payload: each command is reported
    no_acct_commands = 101,
    show = 108,           // no payload; the answer's is tacacs_state
    console_enable = 124, // no payload: servers are asked at the serial console, too
    console_disable = 125,
};

inline constexpr uint8_t k_tacacs_servers_max = 4; // of each family
inline constexpr uint16_t k_tacacs_port = 49;      // where a server listens unless it is said
inline constexpr size_t k_tacacs_key_size = 64;

inline constexpr uint8_t k_tacacs_ipv4 = 4;
inline constexpr uint8_t k_tacacs_ipv6 = 6;

/// Lines that somebody logs in on.
enum class tacacs_line : uint8_t { console = 1, telnet = 2, ssh = 3, web = 4 };
inline constexpr size_t k_tacacs_lines = 4;

struct tacacs_server {
    uint8_t number; // 1..4; lower ones are asked first, and all IPv4 ones before those of IPv6
    uint8_t family; // k_tacacs_ipv4 or k_tacacs_ipv6
    uint8_t port[2];
    uint8_t address[16];         // in network order; of IPv4 the first four, then 0
    char key[k_tacacs_key_size]; // "": the key that servers share
};
static_assert(sizeof(tacacs_server) == 84 && alignof(tacacs_server) == 1);
static_assert(offsetof(tacacs_server, address) == 4 && offsetof(tacacs_server, key) == 20);

struct tacacs_key {
    char key[k_tacacs_key_size];
};
static_assert(sizeof(tacacs_key) == 64);

struct tacacs_login {
    uint8_t line; // tacacs_line
};
static_assert(sizeof(tacacs_login) == 1);

inline constexpr size_t k_tacacs_request_max = sizeof(tacacs_server);

// In the answer to `show` 0 stands for what is not told, so that one may end early.

/// 1 off, 2 on.
using tacacs_switch = uint8_t;

struct tacacs_server_state {
    uint8_t number; // 1..4; 0: no server in this place
    uint8_t family;
    uint8_t port[2];
    uint8_t address[16];
    tacacs_switch own_key;
    uint8_t state; // 1 not asked yet, 2 answers, 3 does not answer
    uint8_t unused[2];
};
static_assert(sizeof(tacacs_server_state) == 24 && offsetof(tacacs_server_state, own_key) == 20);

struct tacacs_state {
    tacacs_switch enabled;
    tacacs_switch shared_key; // whether there is one; no key is ever told
    tacacs_switch author_exec;
    tacacs_switch author_commands;
    tacacs_switch author_console;
    tacacs_switch acct_commands;
    uint8_t login[k_tacacs_lines]; // by line from 1: 1 accounts, 2 servers, 3 servers, then accounts
    uint8_t unused[2];
    tacacs_server_state servers[size_t{2} * k_tacacs_servers_max]; // in the order in which they are asked
};
static_assert(sizeof(tacacs_state) == 204 && alignof(tacacs_state) == 1);
static_assert(offsetof(tacacs_state, login) == 6 && offsetof(tacacs_state, servers) == 12);
