// What a request to the switch-access device costs beside an empty control call on it: one with a number that
// the device does not know. On any device that "/dev/sasi-dev" is: the board's, a server's, or the preloaded
// one.

#include "lib/base/parse_number.h"
#include "lib/sasi/sasi.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <vector>

namespace {

constexpr uint32_t k_empty_number = k_sasi_port + 1; // of the device's numbers, and none of its requests
constexpr uint32_t k_refused_number = 1;             // nobody's: refused without a look at the block

struct kind {
    const char *name;
    uint32_t number;
    uint32_t sub_code;
    bool is_answered;
};

// The first is what the others are compared with.
constexpr kind k_kinds[] = {
    {"empty control call", k_empty_number, 0, false},
    {"refused call", k_refused_number, 0, false},
    {"state of a port", k_sasi_port, k_sub_port_state, true},
    {"counter of a port", k_sasi_counter, k_counter_subs[0], true},
    {"alarm status", k_sasi_alarm, k_sub_alarm_status, true},
};

// A sample is so many requests in a row: reading the clock can take as long as a request.
constexpr int32_t k_in_a_row = 20;

using microseconds = std::chrono::duration<double, std::micro>;

/// Makes one request. Returns whether it was answered as it should be.
bool make_request(const kind &kind) {
    static sasi_block block = {};
    block.request = kind.number;
    block.sub_code = kind.sub_code;
    block.index = 1;
    block.return_code = 1;
    const int32_t result = sasiRequest(kind.number, &block);
    return (result == 0 && block.return_code == 0) == kind.is_answered;
}

/// How long a request takes, or a negative number when one was not answered as it should be.
double take_sample(const kind &kind) {
    bool as_it_should = true;
    const auto began = std::chrono::steady_clock::now();
    for (int32_t i = 0; i < k_in_a_row; i++) {
        as_it_should = make_request(kind) && as_it_should;
    }
    const auto ended = std::chrono::steady_clock::now();
    return as_it_should ? microseconds(ended - began).count() / k_in_a_row : -1;
}

/// Takes turns, so that a slower moment of the machine is everybody's.
bool take_turns(size_t rounds, std::vector<double> (&samples)[std::size(k_kinds)]) {
    for (size_t round = 0; round < rounds; round++) {
        for (size_t i = 0; i < std::size(k_kinds); i++) {
            const double took = take_sample(k_kinds[i]);
            if (took < 0) {
                std::fprintf(stderr, "device_latency: %s: %s\n", k_kinds[i].name,
                             k_kinds[i].is_answered ? "not answered" : "answered as if it were a request");
                return false;
            }
            samples[i].push_back(took);
        }
    }
    return true;
}

double quantile(std::vector<double> &samples, double part) {
    const auto at = samples.begin() + static_cast<ptrdiff_t>(part * static_cast<double>(samples.size() - 1));
    std::nth_element(samples.begin(), at, samples.end());
    return *at;
}

} // namespace

int main(int argc, char **argv) {
    size_t rounds = 1000;
    if (argc > 2 || (argc == 2 && !parse_number(argv[1], 1, 10000000, &rounds))) {
        std::fprintf(stderr, "usage: device_latency [ROUNDS]\n");
        return 2;
    }
    if (sasiOpen() < 0) {
        std::perror("device_latency: /dev/sasi-dev");
        return 1;
    }
    std::vector<double> samples[std::size(k_kinds)];
    if (!take_turns(rounds, samples)) {
        return 1;
    }
    const double empty = quantile(samples[0], 0.5);
    std::printf("%-20s %10s %10s %12s\n", "microseconds", "median", "99 in 100", "to the empty");
    for (size_t i = 0; i < std::size(k_kinds); i++) {
        const double median = quantile(samples[i], 0.5);
        std::printf("%-20s %10.2f %10.2f %12.2f\n", k_kinds[i].name, median, quantile(samples[i], 0.99),
                    median / empty);
    }
    sasiClose();
    return 0;
}
