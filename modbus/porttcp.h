#pragma once

#include "modbus/mbtypes.h"

// The TCP side of the stack (Modbus Messaging on TCP/IP V1.0b): one listening process, and one child process
// for every connection. All state belongs to the process and is used by the one thread that polls;
// a second one, which a loaded board can start, is kept off it.

/// Seconds without a byte of the client, or of waiting for room for a reply, after which a connection is
/// closed. The kernel may round the former up, by up to half a minute, depending on its clock; 313 s have
/// been seen.
inline constexpr int32_t k_tcp_silence_limit_s = 300;

/// Opens the listening socket on any address; port 0 is 502. Returns false when the socket, bind or listen
/// failed, and ends the process with status 1 when SO_REUSEADDR cannot be set; each is said on standard
/// error.
[[nodiscard]] bool tcp_port_init(uint16_t port);

/// In a connection's child: waits for one ADU, posts frame-received and returns true; what came after it in
/// the same read is kept for the next call. Ends the process with exit(0) when the peer has gone, was silent
/// for 300 s or announced more than the buffer holds, and aborts it on an announced length of 0. In the
/// listening process: accepts, forks and reaps and never returns, but for the child of each fork, which
/// returns true with its first ADU held.
bool tcp_port_poll();

/// Takes one connection as the client socket. False when one is held already or the accept failed.
bool tcp_port_accept();

/// Drains what the client has sent, closes the client socket and holds none.
void tcp_port_release();

/// Hands out the ADU held and makes the buffer ready for the next one. Returns true.
bool tcp_port_get_request(uint8_t **adu, uint16_t *length);

/// Sends all bytes, trying again after errors, up to ten times in all and 100 µs apart. Returns whether all
/// were sent. A send that takes nothing releases the client; a client that has not made room for all of them
/// 300 s after it first ran out of it ends the process with exit(0).
[[nodiscard]] bool tcp_port_send_response(const uint8_t *data, uint16_t length);

/// Releases the client, if one is held, and closes the listening socket.
void tcp_port_close();

/// Releases the client, if one is held; leaves it alone while another thread is in the listening role.
void tcp_port_disable();
