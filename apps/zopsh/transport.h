#pragma once

#include "lib/cli/csh_message.h"

#include <string>

// The way to the shell's server and back.

enum class exchange_result {
    done,
    no_server,   // nobody listens at the server's socket
    forbidden,   // its owner does not let this user in
    foreign,     // it is neither root's nor this user's
    ended,       // the server took the request and ended
    no_reply,    // the server took the request and did not answer in time
    interrupted, // Ctrl-C while waiting
    busy,        // another command holds the shell
    full,        // no place is free
};

/// Makes this client's socket and output file, and sees to it that both go when the process ends, by a signal
/// too. Ctrl-C ends it like the others; where `interruptible`, it ends the wait for an answer instead.
/// Returns false after printing what failed.
[[nodiscard]] bool transport_open(int timeout_seconds, bool interruptible);

/// Removes the socket and the output file.
void transport_close();

/// Who is shown what a command prints while it still runs: whole lines.
struct transport_progress {
    void (*show)(const std::string &lines, void *with); // null: nobody
    void *with;
};

/// Sends a request of a type with the text and fields of `message`, whose other fields are filled here, and
/// receives the reply into it. `full` only answers a registration. What runs longer than a moment is shown to
/// `progress`, and its answer waited for anew with every line. The first Ctrl-C asks for its end, and waits a
/// little for it. An answer is waited for as long as transport_open says, or for `patience_seconds`.
[[nodiscard]] exchange_result transport_exchange(int32_t type, const char *text, csh_message *message,
                                                 const transport_progress &progress = {nullptr, nullptr},
                                                 int patience_seconds = 0);

/// What the server wrote for the last request and `progress` was not shown.
std::string transport_output();

/// An answer other than done in words.
const char *transport_words(exchange_result what);
