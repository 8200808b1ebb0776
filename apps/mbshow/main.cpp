// Reads a switch over Modbus TCP and prints it in words.

#include "apps/mbshow/report.h"
#include "lib/base/mbap.h"
#include "lib/base/parse_number.h"
#include "lib/base/standard_streams.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <getopt.h>
#include <string_view>
#include <sys/ioctl.h>
#include <unistd.h>

namespace {

constexpr int k_status_failed = 1;
constexpr int k_status_usage = 2;
// A server closes a connection that is silent for 300 s; a watch keeps its connection.
constexpr int k_watch_max_s = 240;

struct options {
    const char *host;
    uint16_t port;
    int watch_s; // 0: once
    bool json;
};

constexpr const char *k_usage = "usage: mbshow [--port N] [--json] [--watch S] HOST\n";
constexpr const char *k_help =
    "\n"
    "Reads the whole register map of a switch over Modbus TCP and prints it in words.\n"
    "\n"
    "  -p, --port N    TCP port, 502 by default\n"
    "  -j, --json      print one JSON object, keyed by the names in docs/register-map.md\n"
    "  -w, --watch S   read again every S seconds (1 to 240) and show how fast the counters\n"
    "                  run, until interrupted; with --json, one object a line\n"
    "  -h, --help      print this\n"
    "\n"
    "HOST is a name or an IPv4 or IPv6 address. The text leaves out rings and MST instances\n"
    "that are not configured; the JSON has them all. Exit status: 0 done, 1 the switch cannot\n"
    "be read, 2 wrong command line.\n";

[[noreturn]] void exit_usage(const char *problem, const char *text) {
    if (problem != nullptr) {
        std::fprintf(stderr, "mbshow: %s: %s\n", problem, text);
    }
    std::fputs(k_usage, stderr);
    std::exit(k_status_usage);
}

options parse_options(int argc, char **argv) {
    static constexpr option k_options[] = {{"port", required_argument, nullptr, 'p'},
                                           {"json", no_argument, nullptr, 'j'},
                                           {"watch", required_argument, nullptr, 'w'},
                                           {"help", no_argument, nullptr, 'h'},
                                           {nullptr, 0, nullptr, 0}};
    options parsed = {nullptr, k_modbus_port, 0, false};
    int number = 0;
    for (int opt; (opt = getopt_long(argc, argv, "p:jw:h", k_options, nullptr)) != -1;) {
        switch (opt) {
        case 'p':
            if (!parse_number(optarg, 1, UINT16_MAX, &number)) {
                exit_usage("not a port number", optarg);
            }
            parsed.port = static_cast<uint16_t>(number);
            break;
        case 'j':
            parsed.json = true;
            break;
        case 'w':
            if (!parse_number(optarg, 1, k_watch_max_s, &parsed.watch_s)) {
                exit_usage("not 1 to 240 seconds", optarg);
            }
            break;
        case 'h':
            std::printf("%s%s", k_usage, k_help);
            std::exit(0);
        default:
            exit_usage(nullptr, nullptr);
        }
    }
    if (optind + 1 != argc) {
        exit_usage(nullptr, nullptr);
    }
    parsed.host = argv[optind];
    return parsed;
}

/// Draws from the top left corner. What does not fit would scroll the top away, so it is cut and counted.
void redraw(const std::string &text, unsigned rows) {
    std::fputs("\033[H\033[2J", stdout);
    size_t end = 0;
    for (unsigned row = 0; row + 2 < rows && end < text.size(); row++) {
        end = text.find('\n', end) + 1;
    }
    std::fwrite(text.data(), 1, end, stdout);
    const auto left = std::count(text.begin() + static_cast<ptrdiff_t>(end), text.end(), '\n');
    if (left > 0) {
        std::printf("(%d more lines; make the window higher)\n", static_cast<int>(left));
    }
}

/// Prints one report; false when standard output does not take it.
bool print_report(const options &chosen, const mb_report &report) {
    winsize window = {};
    if (chosen.json) {
        const std::string text = mb_report_json(report, chosen.watch_s == 0 ? 2 : -1);
        std::printf("%s\n", text.c_str());
    } else if (chosen.watch_s != 0 && ioctl(STDOUT_FILENO, TIOCGWINSZ, &window) == 0 && window.ws_row > 2) {
        redraw(mb_report_text(report), window.ws_row);
    } else {
        std::printf("%s%s", report.before != nullptr ? "\n" : "", mb_report_text(report).c_str());
    }
    if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0) {
        std::fprintf(stderr, "mbshow: standard output: %s\n", std::strerror(errno));
        return false;
    }
    return true;
}

void sleep_until(const timespec &time) {
    while (clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &time, nullptr) == EINTR) {
    }
}

int report_failure(const options &chosen, const mb_client &client) {
    std::fprintf(stderr, "mbshow: %s port %u: %s\n", chosen.host, unsigned{chosen.port},
                 client.error.c_str());
    return k_status_failed;
}

int show(const options &chosen) {
    mb_client client;
    mb_image image;
    mb_image before;
    timespec next;
    clock_gettime(CLOCK_MONOTONIC, &next);
    if (!mb_client_connect(client, chosen.host, chosen.port)) {
        return report_failure(chosen, client);
    }
    for (;;) {
        if (!mb_image_read(client, image)) {
            return report_failure(chosen, client);
        }
        const mb_image *last = before.registers.empty() ? nullptr : &before;
        if (!print_report(chosen, {chosen.host, chosen.port, &image, last})) {
            return k_status_failed;
        }
        if (chosen.watch_s == 0) {
            return 0;
        }
        std::swap(before, image);
        next.tv_sec += chosen.watch_s;
        sleep_until(next);
    }
}

} // namespace

int main(int argc, char **argv) {
    hold_standard_streams();
    return show(parse_options(argc, argv));
}
