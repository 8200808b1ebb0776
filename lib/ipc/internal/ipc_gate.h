#pragma once

#include <cstdint>

// One gate for every command number: at most one exchange of a command is under way in the process. A sender
// owns the gate until the IPC thread has answered it; the next sender of the command waits.

/// What an owner is known by: an answer that comes late is for an owner that is gone, and must not wake the
/// next one. 0 is nobody.
using ipc_ticket = uint64_t;

/// Makes the gates ready; once, before any other call.
void ipc_gate_init();

/// Waits until the gate of `command` is free and takes it. `command` is at most 325.
[[nodiscard]] ipc_ticket ipc_gate_enter(uint16_t command);

/// Answers the owner known by `ticket`; without effect when it does not own the gate or was answered before.
void ipc_gate_answer(uint16_t command, ipc_ticket ticket);

/// Waits until the owner, who calls this, is answered, and frees the gate.
void ipc_gate_leave(uint16_t command);
