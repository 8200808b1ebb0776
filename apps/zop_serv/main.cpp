#include "apps/common/standard_streams.h"
#include "apps/zop_serv/ask.h"
#include "lib/base/unique_fd.h"
#include "lib/cli/cli_parser.h"
#include "lib/cli/csh_message.h"
#include "lib/cli/csh_output.h"
#include "lib/cli/csh_server.h"
#include "lib/cli/fatal_signals.h"
#include "lib/cli/zopsh_timer.h"
#include "lib/cmds/cmds_system.h"
#include "lib/ipc/ipc_api.h"
#include "lib/sasi/sasi.h"

#include <csignal>
#include <cstdio>
#include <getopt.h>
#include <pthread.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

// The management process: the server of the shell and the server of the IPC messages.

namespace {

constexpr const char *k_usage =
    "usage: zop_serv [--desk] [--ask ROUTE,COMMAND]\n"
    "Runs the shell's server and the management IPC server until it is ended.\n"
    "\n"
    "  --desk   leaves the management interface as it is: for a machine that is not a switch\n"
    "  --ask    sends an IPC request once a second and prints what comes of it\n"
    "  --help   shows this text\n"
    "\n"
    "Open the shell with zopsh; watch the IPC server with ipc_probe.\n";

/// Waits for the signals that end the process, and removes the sockets: whoever knocks next finds nobody.
/// Then the process ends as by any fatal signal, with "exiting..." and status 128 + number.
void *await_end(void *argument) {
    const auto *const signals = static_cast<const sigset_t *>(argument);
    int signal = 0;
    sigwait(signals, &signal);
    ::unlink(k_csh_server_path);
    ::unlink(k_ipc_serv_path);
    std::fflush(stdout);
    pthread_sigmask(SIG_UNBLOCK, signals, nullptr);
    std::raise(signal);
    ::_exit(128 + signal); // should the handler not be there
}

/// Makes the signals that end the process the business of a thread of its own, but for those that are ignored
/// from the start, by nohup, say. Before any other thread is started: all inherit that they are blocked.
bool catch_end() {
    static sigset_t s_signals;
    sigemptyset(&s_signals);
    for (const int number : {SIGTERM, SIGINT, SIGHUP}) {
        struct sigaction found {};
        if (::sigaction(number, nullptr, &found) == 0 && found.sa_handler != SIG_IGN) {
            sigaddset(&s_signals, number);
        }
    }
    pthread_t thread = 0;
    return pthread_sigmask(SIG_BLOCK, &s_signals, nullptr) == 0 &&
           pthread_create(&thread, nullptr, await_end, &s_signals) == 0;
}

bool is_bound(const char *path, int type) {
    const unique_fd socket(::socket(AF_UNIX, type | SOCK_CLOEXEC, 0));
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::snprintf(address.sun_path, sizeof address.sun_path, "%s", path);
    return ::connect(socket.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0;
}

/// Whether there is a management process already. A second one would take its sockets away.
bool is_served() { return is_bound(k_csh_server_path, SOCK_DGRAM) || is_bound(k_ipc_serv_path, SOCK_STREAM); }

void init_modules() {
    if (cmds_system_install() != 0) {
        std::fprintf(stderr, "zop_serv: a command of the system module was refused\n");
    }
}

void init_services() { zopsh_timer_init(); }

/// What a client asks about an unfinished line: help, or what its last word can be completed to.
int32_t query(int32_t flag, const char *text, const cli_session &session) {
    csh_output_truncate();
    return flag == 1 ? cli_help_line(session, text) : cli_complete_line(session, text);
}

} // namespace

int main(int argc, char **argv) {
    hold_standard_streams();
    csh_startup startup = {};
    startup.init_modules = init_modules;
    startup.init_services = init_services;
    startup.services.query = query;
    const char *asked = nullptr;
    constexpr option k_options[] = {{"desk", no_argument, nullptr, 'd'},
                                    {"ask", required_argument, nullptr, 'a'},
                                    {"help", no_argument, nullptr, 'h'},
                                    {nullptr, 0, nullptr, 0}};
    for (int letter = 0; (letter = getopt_long(argc, argv, "", k_options, nullptr)) != -1;) {
        if (letter == 'h') {
            std::fputs(k_usage, stdout);
            return 0;
        }
        if (letter == 'd') {
            startup.skip_interface = true;
        } else if (letter == 'a') {
            asked = optarg;
        } else {
            std::fputs(k_usage, stderr);
            return 2;
        }
    }
    if (optind < argc) {
        std::fputs(k_usage, stderr);
        return 2;
    }
    if (asked != nullptr && !ask_parse(asked)) {
        std::fprintf(stderr, "zop_serv: --ask %s: not a route 1 to 6 and a command 1 to 324\n", asked);
        return 2;
    }
    std::setvbuf(stdout, nullptr, _IOLBF, 0); // what it says is read while it runs
    if (is_served()) {
        std::fprintf(stderr, "zop_serv: another one runs here\n");
        return 1;
    }
    if (!catch_end()) {
        std::fprintf(stderr, "zop_serv: cannot wait for the signals that end it\n");
        return 1;
    }
    fatal_signals_install();
    if (sasiOpen() < 0) {
        std::fprintf(stderr, "zop_serv: no switch answers; the shell runs without one\n");
    }
    if (ipc_serv_start() != 0) {
        std::fprintf(stderr, "zop_serv: cannot start the IPC server; the system log says why\n");
        return 1;
    }
    if (asked != nullptr && !ask_start()) {
        std::fprintf(stderr, "zop_serv: --ask: cannot start a thread\n");
    }
    csh_server_start(startup);
}
