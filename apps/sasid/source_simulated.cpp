#include "apps/sasid/source.h"

#include "lib/base/monotonic.h"
#include "lib/base/mutex_guard.h"
#include "sim/device.h"
#include "sim/paths.h"
#include "sim/state_file.h"

#include <cerrno>

namespace {

constexpr int64_t k_look_again_us = 250'000;

pthread_mutex_t s_mutex = PTHREAD_MUTEX_INITIALIZER; // for all below
std::string *s_path = nullptr;                       // as named, whole from the start on; never freed
sim_file s_file = {nullptr, -1};                     // null: no switch was there
int64_t s_looked_us = 0;

/// The switch as it is now, or null. A mapping would outlive its switch, so that it is looked for anew from
/// time to time.
sim_state *look() {
    const int64_t now_us = monotonic_us();
    if (s_file.state == nullptr || now_us - s_looked_us >= k_look_again_us) {
        sim_file_close(s_file);
        s_looked_us = now_us;
        if (sim_file_open(s_path->c_str(), s_file) != sim_file_result::ok) {
            s_file.state = nullptr;
        }
    }
    return s_file.state;
}

/// Only the user that the server has become knows where its switch is.
bool start(std::string & /*error*/) {
    const mutex_guard guard(s_mutex);
    *s_path = sim_paths_state(s_path->empty() ? nullptr : s_path->c_str());
    return true;
}

int32_t refusal() {
    const mutex_guard guard(s_mutex);
    const sim_state *state = look();
    return state != nullptr && sim_load(state->faults.device_missing) != 0 ? ENOENT : 0;
}

int32_t answer(uint32_t number, sasi_block &block, uint32_t *delay_ms) {
    const mutex_guard guard(s_mutex);
    sim_state *state = look();
    if (state == nullptr) {
        return EIO;
    }
    if (delay_ms != nullptr) {
        *delay_ms = sim_device_delay(*state, number, block);
        if (*delay_ms != 0) {
            return 0;
        }
    }
    return sim_device_call(*state, number, block, false);
}

constexpr sasid_source k_source = {start, refusal, answer};

} // namespace

const sasid_source &sasid_simulated_source(const std::string &path) {
    const mutex_guard guard(s_mutex);
    delete s_path;
    s_path = new std::string(path);
    sim_file_close(s_file);
    return k_source;
}
