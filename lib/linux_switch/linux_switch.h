#pragma once

#include "lib/base/mutex_guard.h"
#include "lib/linux_switch/linux_config.h"
#include "lib/linux_switch/linux_model.h"

#include <memory>
#include <optional>

// A bridge of this machine, followed by threads of its own: what they know lies in memory, and looking at it
// waits for nobody. Links, members, addresses and states are those of a tenth of a second ago at most,
// counters and sensors those of a second ago.

struct linux_switch_settings {
    linux_name bridge;
    std::vector<linux_name> ports; // as linux_number_ports takes them
    linux_config config;
    std::string sysfs = "/sys/class";
};

/// How old knowledge may be before it counts as none: the kernel does not answer then.
inline constexpr int64_t k_linux_fresh_us = 5'000'000;

struct linux_switch;

struct linux_switch_stopper {
    void operator()(linux_switch *followed) const;
};
using linux_switch_handle = std::unique_ptr<linux_switch, linux_switch_stopper>;

/// Begins to follow a bridge, which need not be there. The first look is made before it returns. The threads
/// take no signals; the handle's end ends them. Null with an errno in `error` on failure.
[[nodiscard]] linux_switch_handle linux_switch_start(linux_switch_settings settings, int32_t *error);

/// The settings it was started with.
const linux_switch_settings &linux_switch_settings_of(const linux_switch &followed);

/// What is known at this moment. Nobody learns anything for as long as one stands, so be short.
class linux_view {
public:
    explicit linux_view(const linux_switch &followed);

    /// Null: the kernel has not answered lately.
    [[nodiscard]] const linux_model *model() const { return m_model; }

    /// Bits of the alarm word that sensors raise; those that have not been read lately are lost. None before
    /// the first reading, where there are sensors.
    [[nodiscard]] std::optional<uint32_t> raised() const { return m_raised; }

private:
    mutex_guard m_guard;
    const linux_model *m_model;
    std::optional<uint32_t> m_raised;
};
