// Prints what the daemon on this machine has counted.

#include "apps/mbstat/figures.h"
#include "apps/mbstat/page.h"
#include "lib/base/monotonic.h"
#include "lib/base/parse_number.h"
#include "lib/base/standard_streams.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <getopt.h>
#include <pwd.h>
#include <unistd.h>

namespace {

constexpr int k_status_failed = 1;
constexpr int k_status_usage = 2;

struct options {
    std::string (*write)(const stat_figures &figures);
    pid_t process_id; // 0: the one that runs
    uid_t user;       // as whom it may run, besides root
};

constexpr const char *k_usage = "usage: mbstat [--json | --prometheus] [--user NAME | --pid N]\n";
constexpr const char *k_help =
    "\n"
    "Prints what modbusd on this machine has counted since its start. What each figure is\n"
    "stands in docs/monitoring.md.\n"
    "\n"
    "  -j, --json        print one JSON object on a line\n"
    "  -m, --prometheus  print metrics in the text exposition format 0.0.4\n"
    "  -u, --user NAME   the daemon that runs as this user, or as root; without it, as\n"
    "                    the caller or as root\n"
    "  -p, --pid N       the daemon whose listening process has number N, whoever's it is\n"
    "  -h, --help        print this\n"
    "\n"
    "Exit status: 0 done, 1 no such daemon, 2 wrong command line.\n";

[[noreturn]] void exit_usage(const char *problem, const char *text) {
    if (problem != nullptr) {
        std::fprintf(stderr, "mbstat: %s: %s\n", problem, text);
    }
    std::fputs(k_usage, stderr);
    std::exit(k_status_usage);
}

/// Chooses how to write, once.
void choose(options &parsed, std::string (*write)(const stat_figures &figures)) {
    if (parsed.write != stat_text && parsed.write != write) {
        exit_usage("one of", "--json, --prometheus");
    }
    parsed.write = write;
}

uid_t user_of(const char *name) {
    const passwd *entry = ::getpwnam(name);
    uid_t user = 0;
    if (entry == nullptr && !parse_number(name, &user)) {
        exit_usage("no such user", name);
    }
    return entry != nullptr ? entry->pw_uid : user;
}

options parse_options(int argc, char **argv) {
    static constexpr option k_options[] = {
        {"json", no_argument, nullptr, 'j'},       {"prometheus", no_argument, nullptr, 'm'},
        {"user", required_argument, nullptr, 'u'}, {"pid", required_argument, nullptr, 'p'},
        {"help", no_argument, nullptr, 'h'},       {nullptr, 0, nullptr, 0}};
    options parsed = {stat_text, 0, ::geteuid()};
    for (int opt; (opt = getopt_long(argc, argv, "jmu:p:h", k_options, nullptr)) != -1;) {
        switch (opt) {
        case 'j':
            choose(parsed, stat_json);
            break;
        case 'm':
            choose(parsed, stat_metrics);
            break;
        case 'u':
            parsed.user = user_of(optarg);
            break;
        case 'p':
            if (!parse_number(optarg, 1, INT32_MAX, &parsed.process_id)) {
                exit_usage("not a process number", optarg);
            }
            break;
        case 'h':
            std::printf("%s%s", k_usage, k_help);
            std::exit(0);
        default:
            exit_usage(nullptr, nullptr);
        }
    }
    if (optind != argc) {
        exit_usage("not an option", argv[optind]);
    }
    return parsed;
}

} // namespace

int main(int argc, char **argv) {
    hold_standard_streams();
    const options chosen = parse_options(argc, argv);
    const counters_page found =
        chosen.process_id != 0 ? counters_page_of(chosen.process_id) : counters_page_find(chosen.user);
    if (found.page == nullptr) {
        std::fprintf(stderr, "mbstat: %s\n", found.error.c_str());
        return k_status_failed;
    }
    std::fputs(chosen.write(stat_figures_of(*found.page, monotonic_us())).c_str(), stdout);
    if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0) {
        std::fprintf(stderr, "mbstat: standard output: %s\n", std::strerror(errno));
        return k_status_failed;
    }
    return 0;
}
