#include "apps/sasid/options.h"

#include <algorithm>
#include <climits>
#include <cstdio>
#include <cstring>
#include <getopt.h>
#include <string_view>
#include <unistd.h>

namespace {

constexpr int k_status_usage = 2;
constexpr size_t k_device_name_max = 64;

constexpr const char *k_usage = "usage: sasid SOURCE [--device NAME] [--user NAME] [--foreground]\n";
constexpr const char *k_help =
    "\n"
    "Makes the switch-access device and serves it from user space, until SIGTERM.\n"
    "\n"
#ifdef ZOP_HAS_SIMULATOR
    "  --simulated     the simulated switch that `switchsim run` makes\n"
    "  --state FILE    its state file; otherwise where `switchsim set` looks\n"
#endif
#ifdef ZOP_HAS_LINUX_SWITCH
    "  --linux BRIDGE  a bridge of this machine; its ports are the switch's\n"
    "  --ports A,B,..  names of its ports 1, 2, ...; otherwise in the order of their names\n"
    "  --config FILE   what raises alarms\n"
#endif
    "  --none          no switch: every request is answered \"not known\"\n"
    "  --device NAME   the device's name in /dev, sasi-dev by default\n"
    "  --user NAME     becomes this user when the device stands\n"
    "  --foreground    stays in the foreground, as it does without\n"
    "  --help          print this\n"
    "\n"
    "Takes the kernel's module cuse and the right to open /dev/cuse. Exit status: 0 ended by a\n"
    "signal, 1 the device cannot be made, 2 wrong command line.\n";

constexpr option k_options[] = {
#ifdef ZOP_HAS_SIMULATOR
    {"simulated", no_argument, nullptr, 's'},    {"state", required_argument, nullptr, 'S'},
#endif
#ifdef ZOP_HAS_LINUX_SWITCH
    {"linux", required_argument, nullptr, 'l'},  {"ports", required_argument, nullptr, 'p'},
    {"config", required_argument, nullptr, 'c'},
#endif
    {"none", no_argument, nullptr, 'n'},         {"device", required_argument, nullptr, 'd'},
    {"user", required_argument, nullptr, 'u'},   {"foreground", no_argument, nullptr, 'f'},
    {"help", no_argument, nullptr, 'h'},         {nullptr, 0, nullptr, 0},
};

int refuse(const char *problem, const char *text = "") {
    std::fprintf(stderr, "sasid: %s%s\n", problem, text);
    return k_status_usage;
}

bool is_device_name(std::string_view name) {
    constexpr std::string_view k_letters =
        "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_-.";
    return !name.empty() && name.size() <= k_device_name_max && name[0] != '.' &&
           name.find_first_not_of(k_letters) == std::string_view::npos;
}

/// The server leaves the folder it was started in.
std::string whole_path(const char *path) {
    char folder[PATH_MAX];
    if (*path == '/' || ::getcwd(folder, sizeof folder) == nullptr) {
        return path;
    }
    return std::string(folder) + '/' + path;
}

/// Takes one option; returns -1, or the status to leave with.
int take(int letter, const char *value, sasid_options &wanted, int &sources) {
    switch (letter) {
    case 's':
    case 'n':
        wanted.source = letter == 's' ? sasid_source_kind::simulated : sasid_source_kind::none;
        sources++;
        return -1;
    case 'l':
        wanted.source = sasid_source_kind::linux_bridge;
        wanted.bridge.name = value;
        sources++;
        return -1;
    case 'p':
        wanted.bridge.ports = value;
        return *value != '\0' ? -1 : refuse("--ports wants names of interfaces");
    case 'c':
        wanted.bridge.config = whole_path(value);
        return *value != '\0' ? -1 : refuse("--config wants the name of a file");
    case 'S':
        wanted.state = whole_path(value);
        return *value != '\0' ? -1 : refuse("--state wants the name of a file");
    case 'd':
        wanted.device = value;
        return is_device_name(value) ? -1 : refuse("not the name of a device: ", value);
    case 'u':
        wanted.user = value;
        return *value != '\0' ? -1 : refuse("--user wants the name of a user");
    case 'f':
        return -1;
    case 'h':
        std::printf("%s%s", k_usage, k_help);
        return 0;
    default:
        return k_status_usage; // getopt has said why
    }
}

} // namespace

int sasid_parse_options(int argc, char **argv, sasid_options &wanted) {
    int sources = 0;
    optind = 0; // from the beginning, whoever has read a command line before
    for (int letter = 0; (letter = getopt_long(argc, argv, "", k_options, nullptr)) != -1;) {
        if (const int status = take(letter, optarg, wanted, sources); status >= 0) {
            return status;
        }
    }
    if (optind < argc) {
        return refuse("not an option: ", argv[optind]);
    }
    if (sources != 1) {
        return refuse(sources == 0 ? "no source is named; --help tells which there are"
                                   : "there can be one source only");
    }
    if (!wanted.state.empty() && wanted.source != sasid_source_kind::simulated) {
        return refuse("--state goes with --simulated");
    }
    if (!(wanted.bridge.ports.empty() && wanted.bridge.config.empty()) &&
        wanted.source != sasid_source_kind::linux_bridge) {
        return refuse("--ports and --config go with --linux");
    }
    return -1;
}
