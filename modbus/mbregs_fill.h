#pragma once

#include "lib/sasi/sasi.h"
#include "modbus/mbmap.h"

#include <array>
#include <cstdint>
#include <span>

// What the register map's blocks do to fill registers; between mbregs.cpp and the block files only.

/// What a ring that there is not reads as.
inline constexpr std::array<uint8_t, ring_at::k_used_size> k_no_ring = {};

/// What one call of the input-register callback has fetched so far, so that it need not be fetched again.
struct mb_walk {
    uint32_t alarm = 0;         // identity block; stays what it was when the request fails
    uint16_t device_type = 0;   // identity block
    bool ring1_enabled = false; // rings block, read at the start of the call
    int32_t ring_group = -1;    // rings block: whose record `ring` is, -1 none
    int32_t ring_id = 0; // rings block: the ring ID of that record, past the last one when there is none
    sasi_ring_record ring = sasi_ring_record(k_no_ring); // rings block: lies in the device layer
    int32_t mst_instance = -1; // MST block: whose records `mst` and `mst_ports` are, -1 none
    std::array<uint8_t, k_mst_record_size> mst;
    std::array<uint8_t, k_mst_ports_size> mst_ports;
};

/// Fills registers of one item: `out` takes whole registers from `place.index` on, never past the item's end.
using mb_fill = void (*)(mb_walk &walk, const mb_place &place, std::span<uint8_t> out);

void mb_fill_identity(mb_walk &walk, const mb_place &place, std::span<uint8_t> out);
void mb_fill_ports(mb_walk &walk, const mb_place &place, std::span<uint8_t> out);
void mb_fill_redundancy(mb_walk &walk, const mb_place &place, std::span<uint8_t> out);
void mb_fill_rings(mb_walk &walk, const mb_place &place, std::span<uint8_t> out);
void mb_fill_mst(mb_walk &walk, const mb_place &place, std::span<uint8_t> out);

/// Asks for the alarm status and the device type, as the identity block does before every item and gap.
void mb_identity_refresh(mb_walk &walk);

/// Asks whether ring ID 1 is enabled, as the rings block does at the start of a call.
void mb_rings_begin(mb_walk &walk);

/// Fetches the records of the instance that register `number` lies in, as the MST block does at the start of
/// a call, whether the register holds an item or not.
void mb_mst_begin(mb_walk &walk, uint16_t number);

/// Writes characters, two a register, zero padded: `out` begins at character pair `index` of `characters`.
void mb_put_text(std::span<uint8_t> out, uint16_t index, std::span<const uint8_t> characters);
