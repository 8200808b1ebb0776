// What one request to the simulated device costs: answered directly, and, when the library is preloaded,
// through the control call as the daemon makes it.

#include "lib/base/bytes.h"
#include "lib/sasi/sasi.h"
#include "tests/support/sim_switch.h"

#include <algorithm>
#include <benchmark/benchmark.h>

namespace {

/// A block with all that a request needs, for port, ring or instance 1.
sasi_block valid_block(const sasi_request_row &request) {
    sasi_block block{};
    const auto at = [&](size_t place) { return block.payload + (place - offsetof(sasi_block, payload)); };
    block.request = request.request;
    block.sub_code = request.sub_code;
    block.index = 1;
    if (request.request == k_sasi_redundant_ring) {
        store_native<int32_t>(at(k_at_redundant_ring), 1);
        store_native<uint16_t>(at(k_at_redundant_one), 1);
    } else {
        static_assert(k_at_ring_id == k_at_mst_index);
        store_native<int32_t>(at(k_at_ring_id), 1);
        std::fill_n(at(k_at_mst_record) + 1, k_mst_ports_preset,
                    uint8_t{1}); // wanted by the port table, ignored by others
    }
    return block;
}

template<typename F> void measure(benchmark::State &state, F request_once) {
    const sasi_request_row &request = k_sasi_requests[state.range(0)];
    state.SetLabel(request.meaning);
    sasi_block block = valid_block(request);
    const sasi_block fresh = block;
    for (auto _ : state) {
        // What an accessor sets anew: an answer may lie over its arguments.
        std::copy_n(fresh.payload, 48, block.payload);
        if (request_once(request.request, block) != 0 || block.return_code != 0) {
            state.SkipWithError("the request failed");
        }
    }
}

void answered(benchmark::State &state) {
    const sim_switch sw;
    measure(state,
            [&](uint32_t number, sasi_block &block) { return sim_device_call(sw.state(), number, block); });
}

void through_ioctl(benchmark::State &state) {
    const sim_switch sw;
    if (sasiOpen() < 0) {
        state.SkipWithError("no device: run it with LD_PRELOAD=libswitchsim.so");
    } else {
        measure(state, [](uint32_t number, sasi_block &block) { return sasiRequest(number, &block); });
    }
    sasiClose();
}

void all_requests(benchmark::internal::Benchmark *bench) { bench->DenseRange(0, k_sasi_request_kinds - 1); }

BENCHMARK(answered)->Apply(all_requests);
BENCHMARK(through_ioctl)->Apply(all_requests);

} // namespace

BENCHMARK_MAIN();
