// The management process: the server of the shell and the servers of the IPC messages.

#include "apps/zop_serv/console.h"
#include "apps/zop_serv/dump_commands.h"
#include "apps/zop_serv/request_loop.h"
#include "apps/zop_serv/restart.h"
#include "lib/base/local_socket.h"
#include "lib/base/plain_file.h"
#include "lib/base/result.h"
#include "lib/base/standard_streams.h"
#include "lib/cli/cli_config.h"
#include "lib/cli/cli_help.h"
#include "lib/cli/csh_message.h"
#include "lib/cli/csh_output.h"
#include "lib/cli/csh_server.h"
#include "lib/cli/fatal_signals.h"
#include "lib/cli/screen_length.h"
#include "lib/cli/zopsh_timer.h"
#include "lib/cmds/cmds_auto_logout.h"
#include "lib/cmds/cmds_config.h"
#include "lib/cmds/cmds_failures.h"
#include "lib/cmds/cmds_family.h"
#include "lib/cmds/cmds_jobs.h"
#include "lib/cmds/cmds_services.h"
#include "lib/ipc/ipc_api.h"
#include "lib/ipc/ipc_settings.h"
#include "lib/sasi/sasi.h"
#include "lib/services/services.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <getopt.h>
#include <grp.h>
#include <pthread.h>
#include <sys/prctl.h>
#include <unistd.h>

namespace {

constexpr const char *k_usage =
    "usage: zop_serv [--desk] [--group NAME] [--ask ROUTE,COMMAND]\n"
    "       zop_serv --dump-commands\n"
    "Runs the shell's server and the IPC servers, management and web, until it is ended.\n"
    "\n"
    "  --desk                leaves the management interface as it is: for a machine that is not a switch\n"
    "  --group NAME          lets the members of this group in; otherwise its own user and root alone\n"
    "  --ask ROUTE,COMMAND   sends an IPC request once a second and prints what comes of it\n"
    "  --dump-commands       prints the shell's commands, one a line, and ends\n"
    "  --help                shows this text\n"
    "\n"
    "Open the shell with zopsh; watch the IPC servers with ipc_probe.\n"
    "Exit status: 2 wrong options, 1 it could not start; a signal that ends it gives 128 + its number.\n";

constexpr int k_status_failed = 1;
constexpr int k_status_usage = 2;
constexpr useconds_t k_signal_pause_us = 100000;

char **s_arguments = nullptr; // of the process

struct options {
    bool desk = false;
    gid_t group = k_no_group;
    const char *asked = nullptr; // null: nobody
};

/// The last thing the process does, in a signal handler too: another thread may have bound a socket
/// meanwhile.
void settle() {
    cmds_jobs_end_all();
    console_settle();
    local_remove_bound();
}

/// Waits for the signals that end the process, and removes the sockets: whoever knocks next finds nobody.
/// Then the process ends as by any fatal signal, with "exiting..." and status 128 + number.
void *await_end(void *argument) {
    const auto *const signals = static_cast<const sigset_t *>(argument);
    int signal = 0;
    while (sigwait(signals, &signal) != 0) {
        ::usleep(k_signal_pause_us); // no signal has come: no reason to end
    }
    local_remove_bound();
    std::fflush(stdout);
    pthread_sigmask(SIG_UNBLOCK, signals, nullptr);
    std::raise(signal);
    ::_exit(128 + signal); // should the handler not be there
}

/// Makes the signals that end the process the business of a thread of its own, but for those that are ignored
/// from the start, by nohup, say; SIGTERM always ends it. Before any other thread is started: all inherit
/// that they are blocked.
bool catch_end() {
    static sigset_t s_signals;
    std::signal(SIGTERM, SIG_DFL);
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

/// Whether there is a management process already.
bool is_served() {
    return local_is_served(k_csh_server_path) || local_is_served(k_ipc_serv_path) ||
           local_is_served(k_ipc_web_path);
}

void init_modules() {
    plain_file_remove_unfinished(k_cmds_saved_config);
    ignore_result(cmds_install()); // what was refused has been told; the others serve
    cmds_watch_services();         // the replay that follows reaches those that are here
}

/// A length that was set and not saved with the configuration holds all the same, and so it is shown.
void adopt_screen_length() {
    if (screen_length() != k_screen_length_default) {
        // It has been stored as one that can be set.
        ignore_result(cli_run_config("set length " + std::to_string(screen_length()), [](int32_t) {}));
    }
}

void init_services() {
    cmds_end_failures();
    adopt_screen_length();
    zopsh_timer_init();
}

void look_around() {
    cmds_watch_services();
    restart_if_asked(s_arguments);
}

/// What a client asks about a line.
int32_t query(int32_t form, const char *text, const cli_session &session) {
    csh_output_truncate();
    switch (form) {
    case k_csh_query_help:
        return cli_help_line(session, text);
    case k_csh_query_idle:
        return cmds_auto_logout_minutes() * 60;
    case k_csh_query_secret:
        return cmds_holds_secret(text) ? 1 : 0;
    default:
        return cli_complete_line(session, text);
    }
}

int usage(std::FILE *out, int status) {
    std::fputs(k_usage, out);
    return status;
}

bool find_group(const char *name, gid_t *group) {
    const struct group *const entry = ::getgrnam(name);
    if (entry == nullptr) {
        std::fprintf(stderr, "zop_serv: --group %s: there is no such group\n", name);
        return false;
    }
    *group = entry->gr_gid;
    return true;
}

/// Returns -1 to go on, otherwise the status to leave with.
int parse(int argc, char **argv, options *wanted) {
    constexpr option k_options[] = {
        {"desk", no_argument, nullptr, 'd'},      {"group", required_argument, nullptr, 'g'},
        {"ask", required_argument, nullptr, 'a'}, {"dump-commands", no_argument, nullptr, 'c'},
        {"help", no_argument, nullptr, 'h'},      {nullptr, 0, nullptr, 0}};
    for (int letter = 0; (letter = getopt_long(argc, argv, "", k_options, nullptr)) != -1;) {
        switch (letter) {
        case 'd':
            wanted->desk = true;
            break;
        case 'g':
            if (!find_group(optarg, &wanted->group)) {
                return k_status_usage;
            }
            break;
        case 'a':
            wanted->asked = optarg;
            break;
        case 'c':
            dump_commands();
            return 0;
        case 'h':
            return usage(stdout, 0);
        default:
            return usage(stderr, k_status_usage);
        }
    }
    if (optind < argc) {
        return usage(stderr, k_status_usage);
    }
    if (wanted->asked != nullptr && !request_loop_parse(wanted->asked)) {
        std::fprintf(stderr, "zop_serv: --ask %s: not a route 1 to 6 and a command 1 to 324\n",
                     wanted->asked);
        return k_status_usage;
    }
    return -1;
}

/// Starts everything but the shell. Returns whether it could, after saying what could not be started.
bool start(const options &wanted) {
    if (is_served()) {
        std::fprintf(stderr, "zop_serv: another one runs here\n");
        return false;
    }
    if (!catch_end()) {
        std::fprintf(stderr, "zop_serv: cannot wait for the signals that end it\n");
        return false;
    }
    fatal_signals_install(settle);
    if (sasiOpen() < 0) {
        std::fprintf(stderr, "zop_serv: no switch answers; the shell runs without one\n");
    }
    ipc_get_settings().socket_group = wanted.group;
    if (ipc_serv_start() != 0) {
        std::fprintf(stderr, "zop_serv: cannot start the management IPC server; the system log says why\n");
        return false;
    }
    if (ipc_web_start() != 0) {
        std::fprintf(stderr, "zop_serv: cannot start the web IPC server; the system log says why\n");
        return false;
    }
    std::printf("zop_serv: the IPC servers run at %s and %s\n", k_ipc_serv_path, k_ipc_web_path);
    if (wanted.asked != nullptr && !request_loop_start()) {
        std::fprintf(stderr, "zop_serv: --ask: cannot start a thread\n");
    }
    return true;
}

/// Serves for ever, or returns the status to leave with.
int serve(const options &wanted) {
    csh_startup startup = {};
    startup.init_modules = init_modules;
    startup.init_services = init_services;
    startup.skip_interface = wanted.desk;
    startup.line_failed = cmds_note_failure;
    startup.look_around = look_around;
    if (wanted.desk) {
        services_on_desk();
    }
    startup.socket_group = wanted.group;
    startup.services.query = query;
    startup.services.give_up = cmds_jobs_give_up;
    if (start(wanted) && csh_server_start(startup) != 0) {
        std::fprintf(stderr, "zop_serv: cannot start the shell's server\n");
    }
    std::fflush(stdout);
    settle();
    return k_status_failed;
}

} // namespace

int main(int argc, char **argv) {
    hold_standard_streams();
    s_arguments = argv;
    ::prctl(PR_SET_NAME, program_invocation_short_name); // what has started anew is called "exe"
    options wanted;
    const int early = parse(argc, argv, &wanted);
    if (early >= 0) {
        return end_output("zop_serv", early, k_status_failed);
    }
    std::setvbuf(stdout, nullptr, _IOLBF, 0); // what it says is read while it runs
    if (!console_start()) {
        std::fprintf(stderr, "zop_serv: cannot start the threads of its output\n");
        return k_status_failed;
    }
    return serve(wanted);
}
