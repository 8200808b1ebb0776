#include "bench/load.h"
#include "lib/base/mbap.h"
#include "lib/base/parse_number.h"
#include "modbus/mbmap.h"

#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <getopt.h>
#include <sched.h>

// Loads a Modbus TCP server with register reads and prints what it did as one line of JSON.

namespace {

constexpr const char *k_usage = "usage: mbload --connections N --seconds S --address A --count C [--function "
                                "3|4] [--host HOST] [--port N]\n"
                                "              [--pid PID] [--cpu K] [--any-value]\n";
constexpr const char *k_help =
    "\n"
    "Each connection sends a read of C registers as soon as it has the reply to the last one; every reply "
    "is\n"
    "checked. Prints one line of JSON; times are in microseconds. Exit status: 0 done, 1 when a reply was "
    "not\n"
    "what was asked for or the connection failed, 2 wrong command line.\n"
    "\n"
    "  --address A     first register, as docs/register-map.md numbers them\n"
    "  --function F    4, input registers (the default), or 3, holding registers\n"
    "  --host, --port  127.0.0.1 and 502 by default\n"
    "  --pid PID       also measure the processor time of process PID and those below it\n"
    "  --cpu K         run on processor K\n"
    "  --any-value     do not look at the registers' values\n";

[[noreturn]] void exit_usage() {
    std::fputs(k_usage, stderr);
    std::exit(2);
}

template<typename T> T number_in(const char *text, T min, T max) {
    T value = min;
    if (!parse_number(text, min, max, &value)) {
        std::fprintf(stderr, "mbload: not a number that does: %s\n", text);
        exit_usage();
    }
    return value;
}

void run_on_cpu(int cpu) {
    cpu_set_t set;
    CPU_ZERO(&set);
    CPU_SET(static_cast<size_t>(cpu), &set);
    if (sched_setaffinity(0, sizeof set, &set) != 0) {
        std::perror("mbload: --cpu");
        std::exit(2);
    }
}

load_options parse_options(int argc, char **argv) {
    static constexpr option k_options[] = {{"connections", required_argument, nullptr, 'c'},
                                           {"seconds", required_argument, nullptr, 's'},
                                           {"address", required_argument, nullptr, 'a'},
                                           {"count", required_argument, nullptr, 'n'},
                                           {"function", required_argument, nullptr, 'f'},
                                           {"host", required_argument, nullptr, 'h'},
                                           {"port", required_argument, nullptr, 'p'},
                                           {"pid", required_argument, nullptr, 'P'},
                                           {"cpu", required_argument, nullptr, 'C'},
                                           {"any-value", no_argument, nullptr, 'v'},
                                           {"help", no_argument, nullptr, 'H'},
                                           {nullptr, 0, nullptr, 0}};
    load_options parsed = {"127.0.0.1", k_modbus_port, 4, 0, 0, 0, 0, 0, false};
    for (int opt; (opt = getopt_long(argc, argv, "", k_options, nullptr)) != -1;) {
        switch (opt) {
        case 'c':
            parsed.connections = number_in<uint32_t>(optarg, 1, 1000);
            break;
        case 's':
            parsed.seconds = number_in<double>(optarg, 0.01, 3600);
            break;
        case 'a':
            parsed.number = number_in<uint16_t>(optarg, 1, UINT16_MAX);
            break;
        case 'n':
            parsed.count = number_in<uint16_t>(optarg, 1, k_mb_holding_read_max);
            break;
        case 'f':
            parsed.function = number_in<uint8_t>(optarg, 3, 4);
            break;
        case 'h':
            parsed.host = optarg;
            break;
        case 'p':
            parsed.port = number_in<uint16_t>(optarg, 1, UINT16_MAX);
            break;
        case 'P':
            parsed.server = number_in<pid_t>(optarg, 1, INT32_MAX);
            break;
        case 'C':
            run_on_cpu(number_in(optarg, 0, CPU_SETSIZE - 1));
            break;
        case 'v':
            parsed.any_value = true;
            break;
        case 'H':
            std::printf("%s%s", k_usage, k_help);
            std::exit(0);
        default:
            exit_usage();
        }
    }
    if (optind != argc || parsed.connections == 0 || parsed.seconds <= 0 || parsed.number == 0 ||
        parsed.count == 0) {
        exit_usage();
    }
    return parsed;
}

void print_result(const load_options &options, const load_result &result) {
    const latency_counts &latency = result.latency;
    std::printf(
        R"({"connections":%u,"function":%u,"address":%u,"count":%u,"seconds":%.3f,"requests":%)" PRIu64
        R"(,"requests_per_second":%.1f,"p50_us":%.3f,"p90_us":%.3f,"p99_us":%.3f,"max_us":%.3f,"errors":%)" PRIu64,
        options.connections, unsigned{options.function}, unsigned{options.number}, unsigned{options.count},
        result.seconds, latency.total, static_cast<double>(latency.total) / result.seconds,
        latency_percentile_us(latency, 0.5), latency_percentile_us(latency, 0.9),
        latency_percentile_us(latency, 0.99), static_cast<double>(latency.max_ns) / 1000, result.errors);
    if (options.server != 0 && latency.total != 0) {
        std::printf(R"(,"server_cpu_us_per_request":%.3f)",
                    static_cast<double>(result.server_ns) / 1000 / static_cast<double>(latency.total));
    }
    std::puts("}");
}

} // namespace

int main(int argc, char **argv) {
    const load_options options = parse_options(argc, argv);
    load_result result;
    const bool done = load_run(options, result);
    if (!result.complaint.empty()) {
        std::fprintf(stderr, "mbload: %s\n", result.complaint.c_str());
    }
    if (!done) {
        return 1;
    }
    print_result(options, result);
    return result.errors == 0 ? 0 : 1;
}
