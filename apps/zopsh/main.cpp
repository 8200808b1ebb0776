#include "apps/common/standard_streams.h"
#include "apps/zopsh/shell.h"
#include "apps/zopsh/transport.h"

#include <cerrno>
#include <charconv>
#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <getopt.h>
#include <iostream>
#include <unistd.h>

// The shell's client: lines of a person at a terminal, of a script or of the command line go to the server,
// and what it answers is shown.

namespace {

constexpr int k_status_failed = 1;
constexpr int k_status_no_server = 2;

constexpr const char *k_usage =
    "usage: zopsh [-c LINE]... [--no-pager] [--timeout SECONDS]\n"
    "Opens the switch's command shell. Without -c, lines come from standard input.\n"
    "\n"
    "  -c LINE             runs the line, and the next one; nothing is read then\n"
    "  --no-pager          shows all output at once, as where it goes to a file\n"
    "  --timeout SECONDS   how long an answer is waited for, 1 to 3600; 30 otherwise\n"
    "  --help              shows this text\n"
    "\n"
    "At a terminal: ? lists what can be typed, TAB completes, Ctrl-C drops the line, Ctrl-D leaves.\n"
    "Exit status: 0 all lines done, 1 a line failed, 2 no server.\n";

struct options {
    std::vector<std::string> lines;
    bool pager = true;
    int timeout_seconds = 30;
};

int usage(std::FILE *out, int status) {
    std::fputs(k_usage, out);
    return status;
}

bool parse_timeout(const char *text, int *seconds) {
    const char *const end = text + std::strlen(text);
    const auto [at, error] = std::from_chars(text, end, *seconds);
    return error == std::errc{} && at == end && *seconds >= 1 && *seconds <= 3600;
}

/// Returns -1 to go on, otherwise the status to leave with.
int parse(int argc, char **argv, options *wanted) {
    constexpr option k_options[] = {{"no-pager", no_argument, nullptr, 'p'},
                                    {"timeout", required_argument, nullptr, 't'},
                                    {"help", no_argument, nullptr, 'h'},
                                    {nullptr, 0, nullptr, 0}};
    for (int letter = 0; (letter = getopt_long(argc, argv, "c:", k_options, nullptr)) != -1;) {
        switch (letter) {
        case 'c':
            wanted->lines.emplace_back(optarg);
            break;
        case 'p':
            wanted->pager = false;
            break;
        case 't':
            if (!parse_timeout(optarg, &wanted->timeout_seconds)) {
                return usage(stderr, k_status_failed);
            }
            break;
        case 'h':
            return usage(stdout, 0);
        default:
            return usage(stderr, k_status_failed);
        }
    }
    return optind < argc ? usage(stderr, k_status_failed) : -1;
}

/// The status that lines of a script come to: a failed one counts, and the others are run all the same.
int status_after(line_result result, int status) {
    if (result == line_result::no_server) {
        return k_status_no_server;
    }
    return result == line_result::failed ? k_status_failed : status;
}

bool goes_on(line_result result) { return result != line_result::no_server && result != line_result::ended; }

int run_given(shell *sh, const std::vector<std::string> &lines) {
    int status = 0;
    for (const std::string &line : lines) {
        const line_result result = shell_run(sh, line);
        status = status_after(result, status);
        if (!goes_on(result)) {
            break;
        }
    }
    return status;
}

int run_input(shell *sh) {
    int status = 0;
    std::string line;
    while (std::getline(std::cin, line)) {
        const line_result result = shell_run(sh, line);
        status = status_after(result, status);
        if (!goes_on(result)) {
            return status;
        }
    }
    if (std::ferror(stdin) != 0) {
        std::fprintf(stderr, "zopsh: standard input: %s\n", std::strerror(errno));
        return k_status_failed;
    }
    return status;
}

int run(shell *sh, const options &wanted) {
    if (shell_register(sh) != line_result::done) {
        return k_status_no_server;
    }
    if (!wanted.lines.empty()) {
        return run_given(sh, wanted.lines);
    }
    if (::isatty(STDIN_FILENO) == 1 && ::isatty(STDOUT_FILENO) == 1) {
        return status_after(editor_run(sh), 0);
    }
    return run_input(sh);
}

} // namespace

int main(int argc, char **argv) {
    hold_standard_streams();
    std::setlocale(LC_CTYPE, ""); // what is typed may be more than ASCII
    options wanted;
    const int early = parse(argc, argv, &wanted);
    if (early >= 0) {
        return early;
    }
    const bool terminal = ::isatty(STDOUT_FILENO) == 1;
    shell sh = {{}, wanted.pager && terminal && ::isatty(STDIN_FILENO) == 1, terminal};
    if (!transport_open(wanted.timeout_seconds)) {
        transport_close();
        return k_status_failed;
    }
    const int status = end_output("zopsh", run(&sh, wanted), k_status_failed);
    transport_close();
    return status;
}
