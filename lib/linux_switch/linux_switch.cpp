#include "lib/linux_switch/linux_switch.h"

#include "lib/base/monotonic.h"
#include "lib/base/result.h"
#include "lib/base/unique_fd.h"
#include "lib/linux_switch/linux_look.h"
#include "lib/linux_switch/linux_sensors.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <poll.h>
#include <pthread.h>
#include <sys/eventfd.h>

namespace {

constexpr int64_t k_second_us = 1'000'000;
constexpr int64_t k_gap_us = 100'000; // from one look to the next at least, however much changes
constexpr int32_t k_attempts = 5;     // when something changes during a look

bool is_fresh(int64_t taken_us, int64_t now_us) { return now_us - taken_us <= k_linux_fresh_us; }

/// Waits until a descriptor can be read or the time has come. Returns whether the first one can.
bool wait_until(int64_t until_us, int end, int other) {
    std::array<pollfd, 2> watched = {pollfd{end, POLLIN, 0}, pollfd{other, POLLIN, 0}};
    const int64_t left_us = std::clamp<int64_t>(until_us - monotonic_us(), 0, k_second_us);
    ignore_result(::poll(watched.data(), watched.size(), static_cast<int>((left_us + 999) / 1000)));
    return watched[0].revents != 0;
}

} // namespace

struct linux_switch {
    linux_switch_settings settings;
    unique_fd end; // readable: the threads end
    netlink_socket changes;
    linux_look look; // of the follower, as `model`
    linux_model model{};
    pthread_t follower{};
    pthread_t sensing{};
    bool has_follower = false;
    bool has_sensing = false;
    mutable pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
    // Guarded by the mutex, with the times that they were taken at:
    std::optional<linux_model> known;
    std::optional<uint32_t> raised;
    int64_t known_us = 0;
    int64_t raised_us = 0;
};

namespace {

void look_now(linux_switch &followed) {
    const int64_t now_us = monotonic_us();
    int32_t error = EINTR;
    for (int32_t attempt = 0; attempt < k_attempts && error == EINTR; attempt++) {
        error = linux_look_again(followed.look, now_us, followed.model);
    }
    if (error == 0) {
        const mutex_guard guard(followed.mutex);
        followed.known = followed.model;
        followed.known_us = now_us;
    }
}

void sense_now(linux_switch &followed) {
    const int64_t now_us = monotonic_us();
    const uint32_t raised = linux_read_sensors(followed.settings.config, followed.settings.sysfs);
    const mutex_guard guard(followed.mutex);
    followed.raised = raised;
    followed.raised_us = now_us;
}

void *follow(void *argument) {
    auto &followed = *static_cast<linux_switch *>(argument);
    int64_t last_us = monotonic_us();
    int64_t next_us = last_us + k_second_us;
    while (!wait_until(next_us, followed.end.get(), mnl_socket_get_fd(followed.changes.get()))) {
        if (linux_heard(followed.changes)) {
            next_us = std::min(next_us, last_us + k_gap_us);
        }
        if (monotonic_us() >= next_us) {
            look_now(followed);
            last_us = monotonic_us();
            next_us = last_us + k_second_us;
        }
    }
    return nullptr;
}

void *sense(void *argument) {
    auto &followed = *static_cast<linux_switch *>(argument);
    do {
        sense_now(followed);
    } while (!wait_until(monotonic_us() + k_second_us, followed.end.get(), -1));
    return nullptr;
}

bool has_sensors(const linux_config &config) { return !config.sensors.empty() || !config.supplies.empty(); }

int32_t start_threads(linux_switch &followed) {
    sigset_t all;
    sigset_t before;
    ::sigfillset(&all);
    ::pthread_sigmask(SIG_SETMASK, &all, &before);
    int32_t error = ::pthread_create(&followed.follower, nullptr, follow, &followed);
    followed.has_follower = error == 0;
    if (error == 0 && has_sensors(followed.settings.config)) {
        error = ::pthread_create(&followed.sensing, nullptr, sense, &followed);
        followed.has_sensing = error == 0;
    }
    ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
    return error;
}

} // namespace

void linux_switch_stopper::operator()(linux_switch *followed) const {
    ignore_result(::eventfd_write(followed->end.get(), 1)); // its counter is 0, so there is room
    if (followed->has_follower) {
        ::pthread_join(followed->follower, nullptr);
    }
    if (followed->has_sensing) {
        ::pthread_join(followed->sensing, nullptr);
    }
    delete followed;
}

linux_switch_handle linux_switch_start(linux_switch_settings settings, int32_t *error) {
    linux_switch_handle followed(new linux_switch);
    followed->settings = std::move(settings);
    followed->look.bridge = followed->settings.bridge;
    followed->look.numbering = linux_number_ports(followed->settings.ports);
    followed->end = unique_fd(::eventfd(0, EFD_CLOEXEC));
    followed->changes = linux_listen(); // before the first look, so that no change falls between
    *error = followed->end.valid() && followed->changes != nullptr ? 0 : errno;
    if (*error == 0) {
        if (!has_sensors(followed->settings.config)) {
            followed->raised = 0;
        }
        look_now(*followed);
        *error = start_threads(*followed);
    }
    return *error == 0 ? std::move(followed) : nullptr;
}

const linux_switch_settings &linux_switch_settings_of(const linux_switch &followed) {
    return followed.settings;
}

linux_view::linux_view(const linux_switch &followed) : m_guard(followed.mutex), m_model(nullptr) {
    const int64_t now_us = monotonic_us();
    if (followed.known && is_fresh(followed.known_us, now_us)) {
        m_model = &*followed.known;
    }
    m_raised = followed.raised;
    if (m_raised && has_sensors(followed.settings.config) && !is_fresh(followed.raised_us, now_us)) {
        m_raised = linux_lost_bits(followed.settings.config);
    }
}
