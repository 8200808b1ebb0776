// The shell's client: lines of a person at a terminal, of a script or of the command line go to the server,
// and what it answers is shown.

#include "apps/zopsh/shell.h"
#include "apps/zopsh/transport.h"
#include "lib/base/parse_number.h"
#include "lib/base/standard_streams.h"
#include "lib/cmds/cmds_session.h"

#include <clocale>
#include <cstdio>
#include <cstring>
#include <getopt.h>
#include <unistd.h>

namespace {

constexpr int k_status_failed = 1;
constexpr int k_status_not_begun = 2; // wrong options, or no server

constexpr const char *k_usage =
    "usage: zopsh [-c LINE]... [--config | --user] [--no-pager] [--json]\n"
    "             [--timeout SECONDS]\n"
    "Opens the switch's command shell. Without -c, lines come from standard input.\n"
    "\n"
    "  -c LINE             runs the line, and the next one; nothing is read then\n"
    "  --config            begins in the configuration\n"
    "  --user              lists and takes the commands of users alone, who only look\n"
    "  --no-pager          shows all output at once, as where it goes to a file\n"
    "  --json              lets commands show their tables as JSON, one object a command\n"
    "  --timeout SECONDS   how long an answer is waited for, 1 to 3600; 30 otherwise\n"
    "  --help              shows this text\n"
    "\n"
    "At a terminal: ? lists what can be typed, TAB completes, Ctrl-C drops the line, Ctrl-Z leaves the\n"
    "configuration, Ctrl-D the shell.\n"
    "Exit status: 0 all lines done, 1 a line failed, 2 not begun: wrong options, or no server.\n";

struct options {
    std::vector<std::string> lines;
    int32_t mode_id = k_mode_exec;
    bool user_only = false;
    bool pager = true;
    bool json = false;
    int timeout_seconds = 30;
};

constexpr int k_timeout_max_s = 3600;

int usage(std::FILE *out, int status) {
    std::fputs(k_usage, out);
    return status;
}

/// Returns -1 to go on, otherwise the status to leave with.
int parse(int argc, char **argv, options *wanted) {
    constexpr option k_options[] = {{"config", no_argument, nullptr, 'g'},
                                    {"user", no_argument, nullptr, 'u'},
                                    {"no-pager", no_argument, nullptr, 'p'},
                                    {"timeout", required_argument, nullptr, 't'},
                                    {"json", no_argument, nullptr, 'j'},
                                    {"help", no_argument, nullptr, 'h'},
                                    {nullptr, 0, nullptr, 0}};
    for (int letter = 0; (letter = getopt_long(argc, argv, "c:", k_options, nullptr)) != -1;) {
        switch (letter) {
        case 'c':
            wanted->lines.emplace_back(optarg);
            break;
        case 'g':
            wanted->mode_id = k_cli_mode_config;
            break;
        case 'u':
            wanted->user_only = true;
            break;
        case 'p':
            wanted->pager = false;
            break;
        case 'j':
            wanted->json = true;
            break;
        case 't':
            if (!parse_number(optarg, 1, k_timeout_max_s, &wanted->timeout_seconds)) {
                return usage(stderr, k_status_not_begun);
            }
            break;
        case 'h':
            return usage(stdout, 0);
        default:
            return usage(stderr, k_status_not_begun);
        }
    }
    const bool contradicts = wanted->user_only && wanted->mode_id != k_mode_exec;
    return optind < argc || contradicts ? usage(stderr, k_status_not_begun) : -1;
}

/// Whether somebody types the lines, one after what became of the other. A script is given up as a whole.
bool is_for_person(const options &wanted) {
    return wanted.lines.empty() && ::isatty(STDIN_FILENO) == 1 && ::isatty(STDOUT_FILENO) == 1;
}

cli_session first_session(const options &wanted) {
    cli_session session = cmds_session_in(wanted.mode_id, wanted.user_only);
    session = wanted.json ? cmds_with_json(session) : session;
    return is_for_person(wanted) ? cmds_with_person(session) : session;
}

int run(shell *sh, const options &wanted) {
    if (shell_register(sh, first_session(wanted)) != line_result::done) {
        return k_status_not_begun;
    }
    bool done = false;
    if (!wanted.lines.empty()) {
        done = script_run(sh, wanted.lines);
    } else if (is_for_person(wanted)) {
        const line_result result = editor_run(sh);
        done = result == line_result::done || result == line_result::ended;
    } else {
        done = script_run_input(sh);
    }
    return done ? 0 : k_status_failed;
}

} // namespace

int main(int argc, char **argv) {
    hold_standard_streams();
    std::setlocale(LC_CTYPE, ""); // what is typed may be more than ASCII
    options wanted;
    const int early = parse(argc, argv, &wanted);
    if (early >= 0) {
        return end_output("zopsh", early, k_status_failed);
    }
    const bool terminal = ::isatty(STDOUT_FILENO) == 1;
    shell sh = {{}, wanted.pager && terminal && ::isatty(STDIN_FILENO) == 1, terminal, {}};
    if (!transport_open(wanted.timeout_seconds, is_for_person(wanted))) {
        transport_close();
        return k_status_not_begun;
    }
    const int status = end_output("zopsh", run(&sh, wanted), k_status_failed);
    transport_close();
    return status;
}
