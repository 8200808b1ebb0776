#pragma once

#include "modbus/mbtypes.h"

// The TCP side of the stack (Modbus Messaging on TCP/IP V1.0b): one listening process, and one child process
// for every connection. All state belongs to the process and is used by the one thread that polls;
// a second one, which a loaded board can start, is kept off it.

/// Connections served at a time; one more is accepted and closed at once.
inline constexpr int32_t k_tcp_clients_max = 10;

/// Seconds without a byte after which a connection is closed.
inline constexpr int32_t k_tcp_silence_limit_s = 300;

/// What the transport tells the core. The queue holds one event.
enum mb_event : int32_t {
    k_mb_event_ready = 0,
    k_mb_event_frame_received = 1,
    k_mb_event_execute = 2,
    k_mb_event_frame_sent = 3,
};

/// Empties the event queue. Returns true.
bool mb_event_init();

/// Stores an event over any that was not taken yet. Returns true.
bool mb_event_post(mb_event event);

/// Takes the pending event and returns true; without one, waits in tcp_port_poll and returns false.
[[nodiscard]] bool mb_event_get(mb_event *event);

/// Opens the listening socket on any address; port 0 is 502. Returns false when the socket, bind or listen
/// failed, and ends the process with status 1 when SO_REUSEADDR cannot be set.
[[nodiscard]] bool tcp_port_init(uint16_t port);

/// In a connection's child: waits for one ADU, posts frame-received and returns true; ends the process with
/// exit(0) when the peer has gone, was silent for 300 s or announced more than the buffer holds, and aborts
/// it on an announced length of 0. In the listening process: accepts, forks and reaps and never returns, but
/// for the child of each fork, which returns true with its first ADU held.
bool tcp_port_poll();

/// Takes one connection as the client socket. False when one is held already or the accept failed.
bool tcp_port_accept();

/// Drains what the client has sent, closes the client socket and holds none.
void tcp_port_release();

/// Hands out the ADU held and makes the buffer ready for the next one. Returns true.
bool tcp_port_get_request(uint8_t **adu, uint16_t *length);

/// Sends all bytes, trying again after errors, up to ten times in all and 100 µs apart. Returns whether all
/// were sent. A send that takes nothing releases the client; in a child, one that waited 300 s for room to
/// send any further ends the process.
[[nodiscard]] bool tcp_port_send_response(const uint8_t *data, uint16_t length);

/// Releases the client, if one is held, and closes the listening socket.
void tcp_port_close();

/// Releases the client, if one is held; leaves it alone while another thread is in the listening role.
void tcp_port_disable();

/// What client_table_op does; `client` is a process id and a socket.
enum client_table_operation : int32_t {
    k_client_add = 0,              // 0, or -1 when the table is full
    k_client_remove_by_pid = 1,    // 0, or -2 when not found
    k_client_remove_by_socket = 2, // 0, or -2 when not found
    k_client_find = 3,             // the socket of a process id, or -3 when not found
    k_client_clear = 4,            // 0
};

/// The table of the at most 10 connection children; the first match in index order counts. Another operation
/// does nothing and returns 0.
int32_t client_table_op(int32_t process_id, int32_t socket, int32_t operation);

/// The operations the core reaches a transport by.
struct mb_frame_layer {
    void (*start)();
    void (*stop)();
    mb_error (*receive)(uint8_t *address, uint8_t **pdu, uint16_t *length);
    mb_error (*send)(uint8_t address, uint8_t *pdu, uint16_t length);
    void (*close)();
};

/// The TCP frame layer.
const mb_frame_layer &mb_tcp_frame_layer();

/// Takes the ADU held: address 255, since a TCP slave takes every unit identifier as its own. k_mb_io_error
/// when the protocol identifier is not 0.
mb_error mb_tcp_receive(uint8_t *address, uint8_t **pdu, uint16_t *length);

/// Completes the MBAP header in front of the reply PDU, which lies at byte 7 of the buffer, and sends both.
/// k_mb_io_error when not all could be sent.
mb_error mb_tcp_send(uint8_t address, uint8_t *pdu, uint16_t length);
