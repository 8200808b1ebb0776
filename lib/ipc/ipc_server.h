#pragma once

#include "lib/cli/buffer.h"
#include "lib/ipc/ipc_gate.h"
#include "lib/ipc/ipc_list.h"
#include "lib/ipc/ipc_stream.h"
#include "lib/ipc/ipc_thread.h"
#include "lib/ipc/ipc_wire.h"

#include <array>
#include <atomic>
#include <cstdint>
#include <pthread.h>
#include <span>

// The inside of the IPC server, between the ipc_ files: its record, its clients and what they send.
// Everything but the queue of a server belongs to that server's own thread.

struct ipc_server;

/// A message on its way to the client of its route: owns copies of header and payload.
struct ipc_message {
    ipc_message *next;
    ipc_server *server; // whose thread has it
    ipc_header header;
    ipc_ticket ticket;     // who waits for it; 0: nobody
    bool retried;          // found no client 150 ms ago: this is the last try
    size_t payload_length; // the payload lies behind the record
};

/// One accepted connection.
struct ipc_client {
    int fd;
    uint8_t route; // 0 until its hello
    stream *input;
    stream *output;
    buffer *out_buffer;
    size_t queued;  // bytes in it, as they are counted for all clients
    bool was_large; // it has held much since it was last empty
    thread *read_task;
    thread *write_task;
    thread *close_event; // not null: it is closing, and nothing more is sent to it
    ipc_server *server;
};

struct ipc_server {
    const char *path;
    bool started; // the start was tried
    scheduler_master *master;
    pthread_t thread_id;
    thread *accept_task; // null while nobody can be accepted, for want of descriptors or memory
    int listen_fd;
    int spare_fd; // given up for a moment when descriptors run out, so that a waiting peer can be turned away
    int wake_fd;  // readable while the queue holds messages
    ipc_list clients;
    pthread_mutex_t queue_mutex;
    ipc_message *queue_head; // guarded by queue_mutex, and so is queue_tail
    ipc_message *queue_tail;
    std::array<std::atomic<int32_t>, k_ipc_route_max + 1> clients_of; // clients by the route of their hello
    uint32_t relays_waiting; // messages of clients that have found no client of their route yet
};

/// Whether lines that need the general switch, and lines that need both, are logged.
bool ipc_logs();
bool ipc_logs_detailed();

// ---- messages (ipc_message.cpp)

/// Whether there is a server to hand a message to.
bool ipc_any_server_started();

/// Allocates a message; null when memory is out. Freed by whoever it was handed to last.
[[nodiscard]] ipc_message *ipc_message_new(const ipc_header &header, std::span<const uint8_t> payload,
                                           ipc_ticket ticket);

/// Hands a message to the thread of the server that serves its route, which owns it then. From any thread.
void ipc_message_hand_over(ipc_message *message);

/// Notes that a client of a route has come to a server or has left it. On the thread of `server`.
void ipc_route_joined(uint8_t route, ipc_server *server);
void ipc_route_left(uint8_t route, ipc_server *server);

/// Takes a server that runs into account: messages can be handed to it. The management server is the one for
/// routes without a client; without it, the other one.
void ipc_server_runs(ipc_server *server, bool management);

/// Sends a message to the connected client of its route, or tries again once after 150 ms, at the server that
/// has the client then, and gives it up. Of messages that nobody waits for, which clients have sent, 1024 can
/// wait so; those beyond are given up at once. Owns `message`. On the thread of `server`.
void protoipc_pkt_create_send(ipc_server &server, ipc_message *message);

/// Sends a message that the thread of `here` has to the client of its route, whichever server has that. Owns
/// `message`. On the thread of `here`.
void ipc_message_pass_on(ipc_server &here, ipc_message *message);

/// Read task on wake_fd: sends what other threads have handed over.
int ipc_take_messages(thread *task);

/// Whether the management server runs, so that one-way messages go to their handlers.
bool ipc_relays_started();

/// Whether the calling thread is that of a server.
bool ipc_on_server_thread();

// ---- clients (ipc_client.cpp)

/// Makes a client of an accepted descriptor and reads from it. Closes the descriptor when memory is out.
void ipc_client_add(ipc_server &server, int fd);

/// Gives up the requests of its route, drops what it booked itself, closes and frees it.
void ipc_client_close(ipc_client *client);

/// The first client that said hello for `route`, or null.
ipc_client *ipc_client_of_route(const ipc_server &server, uint8_t route);

// ---- what goes out to clients (ipc_client_output.cpp)

/// Writes the client's output stream, or what the descriptor takes of it, and queues the rest. Returns 0, or
/// -1 when the client is closing, when its descriptor failed, or when it has left more unread than the
/// settings allow: both close it soon, and what waited for it is gone. Where too much waits for all clients,
/// the one of this server that most waits for is closed so, which may be another.
[[nodiscard]] int32_t ipc_server_send_message(ipc_client *client);

/// Takes back the client's tasks and frees its output.
void ipc_client_end_output(ipc_client *client);

// ---- one-way messages (ipc_handlers.cpp)

/// Whether a one-way message has a handler.
bool ipc_handler_exists(uint8_t route, uint16_t command);

/// Runs the handler of a one-way message: a relay sends the payload on to the client of the message's route,
/// if it has exactly the expected size.
void ipc_handler_run(ipc_server &server, const ipc_header &header, std::span<const uint8_t> payload);
