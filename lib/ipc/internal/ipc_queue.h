#pragma once

#include "lib/ipc/internal/ipc_gate.h"
#include "lib/ipc/ipc_thread.h"
#include "lib/ipc/ipc_wire.h"

#include <cstddef>
#include <cstdint>
#include <pthread.h>
#include <span>

// The way of messages from any thread to the thread of the server that has the client of their route.

struct ipc_server;

/// A message on its way to the client of its route: owns copies of header and payload.
struct ipc_message {
    ipc_message *next;
    ipc_server *server; // whose thread has it
    ipc_header header;
    ipc_ticket ticket;     // who waits for it; 0: nobody
    bool retried;          // found no client 150 ms ago: this is the last try
    size_t payload_length; // the payload follows the record
};

/// What was handed over to a server's thread and not yet taken.
struct ipc_queue {
    pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER; // guards the others
    ipc_message *head = nullptr;
    ipc_message *tail = nullptr;
};

/// Allocates a message; null when memory is out or the payload is longer than k_ipc_payload_max. Freed by
/// whoever it was handed to last, with free().
[[nodiscard]] ipc_message *ipc_message_new(const ipc_header &header, std::span<const uint8_t> payload,
                                           ipc_ticket ticket);

/// The payload of a message.
std::span<const uint8_t> ipc_message_payload(const ipc_message &message);

/// Hands a message to the thread of the server that serves its route, which owns it then. From any thread.
void ipc_message_hand_over(ipc_message *message);

/// Read task on a server's wake_fd: sends what other threads have handed over.
int ipc_take_messages(thread *task);
