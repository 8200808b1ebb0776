#pragma once

#include <cstdint>
#include <span>

// The register map as data: the daemon serves from these rows, the documents are written from them and
// `mbshow` decodes by them. Register numbers are the PDU address plus 1. Register values travel high byte
// first.

/// What an item is, for whoever fills or decodes it.
enum class mb_item_id : uint8_t {
    device_type,
    tailer_words_a,
    tailer_words_b,
    serial_number,
    firmware_words_a,
    firmware_words_b,
    mac_address,
    main_power,
    redundant_power,
    alarm_present,
    port_state,
    port_absent,
    port_media,
    counter_3_4,
    counter_9_10,
    counter_12,
    counter_6,
    stp_mode,
    redundant_ring0_enabled,
    ring1_enabled,
    redundant_word14,
    redundant_address,
    redundant_byte22,
    redundant_byte30,
    redundant_word18,
    redundant_word26,
    redundant_word34,
    ring_word24,
    ring_configured,
    ring_name,
    ring_word133_byte137,
    ring_word141,
    ring_value28,
    ring_port1,
    ring_port2,
    ring_word72_word60,
    mst_instance,
    mst_bridge_address,
    mst_port,
    count,
};

enum class mb_type : uint8_t {
    u16,       // one register, one number
    words,     // registers passed through as they are
    u32,       // two registers, most significant first
    text,      // two characters a register, first character in the high byte, zero padded
    wide_text, // one character a register, in the low byte
    address,   // 6 bytes, two a register, in address order
    byte_pair, // two values: high byte and low byte
    bits,      // bit fields, laid out in the meaning
    count,
};

/// What a read gets that begins behind an item's first register.
enum class mb_entry : uint8_t {
    any,   // the rest of the item
    first, // what a gap of the block gives: the item is recognised at its first register only
    whole, // the whole item, from its beginning
};

/// One item; `offset` counts registers from the beginning of its group's element.
struct mb_item {
    mb_item_id id;
    uint8_t offset;
    uint8_t count; // registers
    mb_type type;
    mb_entry entry;
    const char *name; // a short identifier, for documents and JSON
    const char *unit; // "" where there is none
    const char *meaning;
    std::span<const char *const> values = {}; // words for the values 0, 1, ...; empty where it is a number
};

/// A run of equal elements (ports, rings, instances) that each hold the same items.
struct mb_group {
    uint16_t first; // register number of element 0
    uint16_t elements;
    uint16_t stride;         // registers from one element to the next
    uint16_t element_number; // the number element 0 goes by
    const char *element;     // what an element is ("port"), "" for a group of one
    std::span<const mb_item> items;
};

/// What a register without an item does within a block.
enum class mb_gap : uint8_t {
    zero, // reads as 0 and the walk goes on
    stop, // reads as 0 and ends the reply: what was asked behind it is undefined
};

enum class mb_block_id : uint8_t { identity, ports, redundancy, rings, mst, count };

/// A range of input registers. The first register of a request chooses the block, and a walk that runs past
/// the block's end goes on by this block's rules.
struct mb_block {
    mb_block_id id;
    uint16_t first;
    uint16_t last;
    mb_gap gap;
    const char *key; // a short identifier, for JSON
    const char *name;
    std::span<const mb_group> groups;
};

/// The input registers, ascending; indexed by mb_block_id.
std::span<const mb_block> mb_map_blocks();

/// The block that holds register `number`, or null.
const mb_block *mb_map_block_of(uint16_t number);

/// Where a register lies: `item` is null in a gap; otherwise `element` counts from 0 and `index` is the
/// register within the item (0 for its first).
struct mb_place {
    const mb_item *item;
    uint16_t element;
    uint16_t index;
};

/// Finds register `number` among the items of `block`; numbers outside the block find nothing. An item whose
/// entry is `first` is found at its first register only, the registers behind it are a gap.
mb_place mb_map_find(const mb_block &block, uint16_t number);

/// How many registers the walk through a read puts at its next place, of `count` that are still asked for:
/// the rest of an item as far as it was asked for, a whole value even when only half of it was, or one
/// register of a gap.
uint16_t mb_map_step(const mb_place &place, uint16_t count);

/// The most registers that one request of function 0x04 may ask for from `number` on so that every register
/// of the reply is defined and no item is cut. 0 when `number` lies in no block, within a 32-bit value, or on
/// a gap that ends the reply.
uint16_t mb_map_safe_count(uint16_t number);

/// The largest counts that the functions take: 0x04 (read input registers), 0x03 and 0x17 (read holding
/// registers), 0x10 (write multiple registers) and the write half of 0x17.
inline constexpr uint16_t k_mb_input_count_max = 124;
inline constexpr uint16_t k_mb_holding_read_max = 125;
inline constexpr uint16_t k_mb_holding_write_max = 120;
inline constexpr uint16_t k_mb_exchange_write_max = 121;

/// The holding registers: a store in memory, one copy a connection.
inline constexpr uint16_t k_mb_holding_first = 2000;
inline constexpr uint16_t k_mb_holding_count = 130;
