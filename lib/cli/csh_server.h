#pragma once

#include "lib/base/local_socket.h"
#include "lib/cli/cli_session.h"

#include <cstdint>

// The server of the shell: it runs the lines that clients send as datagrams to "/tmp/csh_serv" and answers
// each with the same message. One thread, which is the one that starts it.
//
// The kernel says who has sent a message. One that names another process than its sender is answered with
// code 0, and nothing else is done with it; root may name any.

/// What the rest of the management process does for the server. A member that is null is a service that there
/// is not: its requests fail. Texts end in a NUL and come from a client, that is from anybody.
struct csh_services {
    /// A query about an unfinished line (type 7); `flag` 1 is its first form. What it prints goes to the
    /// client's output file. Returns the answer, -1 when there is none.
    int32_t (*query)(int32_t flag, const char *text, const cli_session &session);
    /// Makes the auxiliary word of a client (types 2 and 9), and takes one that a client sends back (type 9).
    int32_t (*make_auxiliary)(int32_t pid);
    void (*take_auxiliary)(int32_t value);
    /// Login authentication: types 10, 11, 12 and 16, then 13, 14 and 17, then 15, 18 and 19 each. Return the
    /// service's result, -1 when it failed.
    int32_t (*authenticate)(int32_t type, const char *text);
    int32_t (*authenticate_further)(int32_t type, const char *text);
    int32_t (*authenticate_15)(int32_t type, const char *text);
    int32_t (*authenticate_18)(int32_t type, const char *text);
    int32_t (*authenticate_19)(int32_t type, const char *text);
    /// The client of a reply that is kept back (csh_keep_reply) waits no longer: it has asked for an end
    /// (type 5), has sent another line, or is no more. What was begun for it is to end; it may still be
    /// answered.
    void (*give_up)(int32_t ticket);
};

/// What the server does before it serves. Null members have the default that stands beside them.
struct csh_startup {
    void (*init_modules)();            // installs the commands; none
    void (*line_failed)(int32_t line); // told of lines of the saved configuration; the system log names them
    void (*init_services)();           // what needs the saved configuration; nothing
    int32_t (*run_command)(const char *command); // by the shell of the system
    void (*wait_seconds)(uint32_t seconds);      // sleeps
    bool skip_interface;             // leaves the management interface as it is, as a desk wants it
    bool (*uses_dhcp)();             // false
    void (*apply_static_address)();  // nothing
    bool (*ready)();                 // whether the switch's services are ready; true
    gid_t socket_group = k_no_group; // whose members may send messages, beside this user and root
    void (*look_around)();           // called about once a second while it serves; nothing
    csh_services services;
};

/// Makes the server's socket, replays the saved configuration, restarts the management interface, waits for
/// the switch's services and serves. Failures are printed, and the server goes on, but for a socket that
/// cannot be made (see local_bind): then returns -1. Otherwise it never returns.
[[nodiscard]] int32_t csh_server_start(const csh_startup &startup);

/// Serves one message of the server's socket.
void servMessageDispatcher(int fd);

/// Keeps the reply to the line that is being run back, for a handler whose work goes on beside the server:
/// other clients are served meanwhile. Its result counts for nothing. Returns a ticket above 0 for
/// csh_answer, 0 when as many replies are kept back as there can be clients.
[[nodiscard]] int32_t csh_keep_reply();

/// Makes the client of a reply that is kept back the current one, whose output file cli_print writes to.
/// Returns whether there still is such a reply.
bool csh_select_kept(int32_t ticket);

/// Sends a reply that was kept back, with the result of its line. Without one nothing is done.
void csh_answer(int32_t ticket, int32_t result);

/// Lets the shell go again that a status has taken (csh_status.h), when the work it stood for has failed.
void csh_set_free();

/// Sets the services without a start; for who serves messages itself.
void csh_set_services(const csh_services &services);
