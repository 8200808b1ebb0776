#pragma once

#include "modbus/mbmap.h"

#include <string>
#include <vector>

// The register map as documents, written from the rows that the daemon serves from.

/// The map for whoever polls the switch, in Markdown: what to know first, then a table for each block with
/// the equal elements of a group folded into one row.
std::string mapdoc_markdown();

/// The map for import, as CSV (RFC 4180, a heading row first, lines end in LF): a row for every item of every
/// element.
std::string mapdoc_csv();

/// The same rows as JSON, with what to know before polling in fields of its own.
std::string mapdoc_json();

/// The map as a Thing Description (W3C WoT Thing Description 1.1, Modbus binding): a property for every item
/// of every element but the ports that are always absent, and one for the holding registers. Addresses in it
/// are PDU addresses.
std::string mapdoc_thing();

/// Configurations that poll the items which their programs can show: of Telegraf's Modbus input, and of Home
/// Assistant's Modbus integration.
std::string mapdoc_telegraf();
std::string mapdoc_home_assistant();

// What the documents share.

/// One item of one element. The holding registers are rows of a block of their own, which the daemon's map
/// does not list: its items have the id mb_item_id::count.
struct mapdoc_row {
    const mb_block *block;
    const mb_group *group;
    const mb_item *item;
    unsigned element;    // counted from 0
    unsigned number;     // of the first register; its PDU address is one less
    unsigned function;   // that reads it
    unsigned safe_count; // largest safe read from there on
};

/// All of them, in the order of blocks, groups, elements and items; the holding registers last.
std::vector<mapdoc_row> mapdoc_rows();

/// Where a row is for masters that count tables in the leading digit: 3xxxx or 4xxxx, or that with six
/// digits.
unsigned mapdoc_notation(const mapdoc_row &row, bool six_digits);

/// The type and the order of an item's words or bytes, as a reader knows them; "" where there is no order.
const char *mapdoc_type(mb_type type);
const char *mapdoc_word_order(mb_type type);

/// A short identifier of the type.
const char *mapdoc_type_key(mb_type type);

/// The meaning with the words for its values.
std::string mapdoc_meaning(const mb_item &item);

/// The element of a group in words ("port 3"), "" where the group has only one or its elements have no name.
std::string mapdoc_element(const mb_group &group, unsigned element);

/// A name of its own for a row: "port_3_counter_6".
std::string mapdoc_identifier(const mapdoc_row &row);

/// How often a row is worth polling, in seconds; 0 for what configurations leave out: what their programs
/// have no type for, absent ports, and the MST instances, which are many.
unsigned mapdoc_period_s(const mapdoc_row &row);
