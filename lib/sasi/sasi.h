#pragma once

#include "lib/base/shared_count.h"
#include "lib/sasi/sasi_layout.h"

#include <span>

// The switch-access device: one character device through which all live switch state is read. One
// process-wide handle; one thread at a time. Accessors neither retry nor report: what a failed request left
// in their block is what the caller gets.

/// Opens "/dev/sasi-dev" for reading and writing, keeps the descriptor as the process's handle and returns
/// it; negative on failure.
int32_t sasiOpen();

/// Closes the handle and sets it to -1. A handle below 1 is left alone: 0 is never closed. Returns 0.
int32_t sasiClose();

/// Whether there is a handle.
bool sasi_is_open();

/// Makes one control call with `request` on `block`. Returns the call's own result, or -1 without a call when
/// the handle is negative or `block` is null.
int32_t sasiRequest(uint32_t request, sasi_block *block);

/// Whether the last request was made and its control call succeeded: what an accessor has given is then of
/// this request, if its return code says so, and not of one before it.
bool sasi_answered();

/// How many requests were asked for, and how many of them had no call that succeeded, or a return code other
/// than 0.
struct sasi_tally {
    shared_count requests;
    shared_count failures;
};

/// Counts the requests of this process from now on in `tally`, which stays the caller's and must last; null:
/// counts for nobody, as at first.
void sasi_count_in(sasi_tally *tally);

// Every accessor below makes one request with a block of its own, each counter too, and returns the return
// code that the block then holds: 0 for success, and when the call itself failed that of the call before. The
// block is never cleared, so after a failed request the outputs are the last results, or zeros before any,
// but for bytes that the request's arguments lie over. Every output is written, but for the alarm word.

/// One 32-bit counter of `port`; `sub_code` is one of k_counter_subs.
int32_t sasi_get_counter(uint32_t sub_code, int32_t port, uint32_t *value);

/// The used part of a ring-redundancy record; offsets in ring_at.
using sasi_ring_record = std::span<const uint8_t, ring_at::k_used_size>;

/// The ring-redundancy record of a ring ID 1..255. `*record` is set to where it lies in the accessor's block,
/// until the next call: a search for a configured ring asks for 255 of them and looks at a word of each.
int32_t sasi_get_ring(int32_t ring_id, sasi_ring_record *record);

/// The IPv4 address of the management interface. Addresses here are numbers whose most significant byte is
/// the first octet.
int32_t sasi_get_ip_address(uint32_t *address);

/// The IPv4 netmask of the management interface.
int32_t sasi_get_ip_netmask(uint32_t *netmask);

/// The route value of the management interface; 0: there is no route beyond its subnet.
int32_t sasi_get_ip_route(uint32_t *route);

/// The alarm status: its first word, and the alarm word (bits in alarm_bit). `alarm` is written only when the
/// request succeeded with return code 0.
int32_t sasi_get_alarm(uint32_t *first, uint32_t *alarm);

/// The five setting and state words of a port, in the order of k_at_port_words.
int32_t sasi_get_port_state(int32_t port, std::span<uint32_t, 5> words);

/// The media type of a port: 2 fibre gigabit, 1 copper gigabit, other copper fast.
int32_t sasi_get_port_media(int32_t port, uint32_t *media);

/// The spanning-tree bridge record; offsets in bridge_at.
int32_t sasi_get_bridge(std::span<uint8_t, k_bridge_record_size> record);

/// The record of an MST instance; offsets in mst_at.
int32_t sasi_get_mst_instance(int32_t instance, std::span<uint8_t, k_mst_record_size> record);

/// The port table of an MST instance; offsets in mst_at. Bytes 1..13 of the table are 1 when the device gets
/// it.
int32_t sasi_get_mst_ports(int32_t instance, std::span<uint8_t, k_mst_ports_size> table);

/// The redundant-ring record of ring 0 or 1; offsets in redundant_at.
int32_t sasi_get_redundant_ring(int32_t ring, std::span<uint8_t, k_redundant_record_size> record);

/// Stores the device type code, 0xD8ED. Returns 0. Needs no device.
int32_t sasi_get_device_type(uint16_t *code);
