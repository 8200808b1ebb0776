#pragma once

#include "lib/sasi/sasi_layout.h"

#include <cstdint>

// Answers that are to come later, so that they hold up nobody else. A thread that exists from the first of
// them on gives them.

/// Gives the answer that was put off; called once for each, from that thread.
using sasid_later_fn = void (*)(void *request, uint32_t number, sasi_block &block);

/// Puts an answer off: `give` is called with a copy of the block in `delay_ms`, or when it is hurried.
/// Returns false when there is no thread to do it.
[[nodiscard]] bool sasid_later(void *request, uint32_t number, const sasi_block &block, uint32_t delay_ms,
                               sasid_later_fn give);

/// Has a request answered now; nothing when it is none that was put off. From any thread.
void sasid_later_hurry(const void *request);
