#pragma once

#include <cstddef>
#include <cstdint>

// The descriptors that the shell server waits for.

constexpr size_t k_evt_chan_max = 16;

/// Called with a descriptor that can be read; it may add and remove channels.
using evt_chan_fn = void (*)(int fd);

/// Empties the table. Returns 0.
[[nodiscard]] int32_t evtChanInit();

/// Adds a descriptor. Returns 0, or -1 when it cannot be waited for (below 0 or above 1023), has a channel
/// already, or the table is full.
[[nodiscard]] int32_t evtChanAdd(int fd, evt_chan_fn callback);

/// Removes a descriptor; one that has no channel is ignored. It stays open.
void evtChanDel(int fd);

/// Waits up to a second until descriptors can be read, and calls their callbacks. One that has been closed is
/// removed.
void evtChanWait();
