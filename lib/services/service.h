#pragma once

#include "lib/services/program.h"
#include "lib/services/report.h"

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

// What carries the settings of the shell out and answers its questions: services, each behind one small
// interface. All calls come from the thread of the shell's server.

/// What a command wants.
struct service_call {
    std::string_view words; // its keywords without "no" and "show": "ip address", "mirror source"
    std::span<const std::string> arguments; // what follows them, in the form in which it is kept
    std::string_view
        context; // the line that enters what a setting is about, "interface gigabitethernet1/0/ 3";
                 // "": the whole switch
};

enum class service_outcome : uint8_t {
    done,
    refused,       // `text` says why; nothing has been changed
    not_supported, // this service does nothing for this command here
    running,       // it goes on beside the server, as a program
};

struct service_answer {
    service_outcome outcome = service_outcome::done;
    std::string text = {};
    program job = {}; // running: whose output is the command's, and whose end is its end
};

/// A member that is null does nothing: not_supported.
struct service {
    const char *name; // for people: "the kernel"
    /// Whether it can be had on this machine now.
    bool (*is_here)();
    /// Makes a setting so, and takes it back to what it is at first. A setting of the same words that is
    /// there already is replaced. Called again for all settings when a service comes back.
    service_answer (*apply)(const service_call &call);
    service_answer (*withdraw)(const service_call &call);
    /// Puts a state together.
    service_answer (*show)(const service_call &call, report &to);
    /// Does something once.
    service_answer (*act)(const service_call &call);
    /// A number that is another one when the service has lost its settings since, though it may have been
    /// here at each look.
    uint32_t (*comings)() = nullptr;
};

/// The services, each in a source of its own.
extern const service service_switch;   // the switch-access device
extern const service service_kernel;   // host name, addresses, routes, memory, processes
extern const service service_units;    // servers as units of the service manager
extern const service service_time;     // clocks and the local time service
extern const service service_tacacs;   // the TACACS+ daemon, over the IPC server
extern const service service_programs; // ping and the like, as child processes
