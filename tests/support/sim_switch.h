#pragma once

#include "lib/sasi/sasi.h"
#include "sim/device.h"
#include "sim/state_file.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>
#include <unistd.h>

/// A simulated switch of the test's own, for a test program that runs under the preloaded library
/// (zop_sim_test in tests/CMakeLists.txt). It begins with all links up, no alarm and no fault, all else zero
/// and the counters standing, and is the process's and its children's switch until the end of its scope,
/// which closes the device.
///
/// Fields are written through `->` (sim/state.h): `sw->ports[2].media = 2;`, or with the setters below where
/// a field is more than a number.
class sim_switch {
public:
    sim_switch() {
        if (::mkdtemp(m_folder.data()) == nullptr) {
            give_up("mkdtemp");
        }
        m_path = std::string(m_folder.data()) + "/state";
        if (const sim_file_result result = sim_file_create(m_path.c_str(), m_file);
            result != sim_file_result::ok) {
            give_up(sim_file_text(result));
        }
        ::setenv("SWITCHSIM_STATE", m_path.c_str(), 1);
    }
    ~sim_switch() {
        sasiClose();
        sim_file_remove(m_path.c_str(), m_file);
        ::rmdir(m_folder.data());
        ::unsetenv("SWITCHSIM_STATE");
    }
    sim_switch(const sim_switch &) = delete;
    sim_switch &operator=(const sim_switch &) = delete;

    sim_state *operator->() const { return m_file.state; }
    sim_state &state() const { return *m_file.state; }
    const std::string &path() const { return m_path; }

    // Numbered as the device numbers them: ports 1..12, ring IDs 1..255, redundant rings 0..1, instances
    // 0..63.
    sim_port &port(size_t number) const { return m_file.state->ports[number - 1]; }
    sim_ring &ring(size_t id) const { return m_file.state->rings[id - 1]; }
    sim_redundant_ring &redundant_ring(size_t number) const { return m_file.state->redundant[number]; }
    sim_mst &mst(size_t instance) const { return m_file.state->mst[instance]; }
    sim_mst_port &mst_port(size_t instance, size_t port) const { return mst(instance).ports[port - 1]; }

    /// What a request of the device is made to do, and how often it was made.
    sim_request_fault &fault(uint32_t request, uint32_t sub_code) const {
        return m_file.state->faults.requests[sasi_request_kind(request, sub_code)];
    }
    uint32_t requests(uint32_t request, uint32_t sub_code) const {
        return sim_load(m_file.state->request_counts[sasi_request_kind(request, sub_code)]);
    }

    void set_link(size_t number, bool up) const { sim_port_set_link(state(), port(number), up); }

    /// One of the counters in k_counter_subs; `rate` counts a second from now on.
    void set_counter(size_t number, uint32_t sub_code, uint32_t value, uint32_t rate = 0) const {
        const auto *place = std::find(std::begin(k_counter_subs), std::end(k_counter_subs), sub_code);
        sim_counter &counter = port(number).counters[place - std::begin(k_counter_subs)];
        sim_counter_set_rate(state(), port(number), counter, rate);
        sim_counter_set(state(), port(number), counter, value);
    }

    /// Up to k_ring_name_size characters, the rest zero.
    void set_ring_name(size_t id, std::string_view name) const {
        sim_ring &named = ring(id);
        std::fill(std::begin(named.name), std::end(named.name), uint8_t{0});
        std::copy_n(name.begin(), std::min(name.size(), ring_at::k_name_size), named.name);
    }

    void set_serial(std::string_view serial) const {
        uint8_t(&text)[k_sim_serial_size] = state().identity.serial;
        std::fill(std::begin(text), std::end(text), uint8_t{0});
        std::copy_n(serial.begin(), std::min(serial.size(), k_sim_serial_size - 1), text);
    }

private:
    [[noreturn]] static void give_up(const char *why) {
        std::perror(why);
        std::abort();
    }

    std::array<char, 32> m_folder{"/tmp/sim_switch.XXXXXX"};
    std::string m_path;
    sim_file m_file{nullptr, -1};
};
