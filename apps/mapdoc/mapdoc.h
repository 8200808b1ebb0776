#pragma once

#include "modbus/mbmap.h"

#include <span>
#include <string>

// The register map as documents, written from the rows that the daemon serves from.

/// The map for whoever polls the switch, in Markdown: what to know first, then a table for each block with
/// the equal elements of a group folded into one row.
std::string mapdoc_markdown();

/// The map for import, as CSV (RFC 4180, a heading row first, lines end in LF): a row for every item of every
/// element.
std::string mapdoc_csv();

// What both documents say in the same words.

/// The type and the order of an item's words or bytes, as a reader knows them; "" where there is no order.
const char *mapdoc_type(mb_type type);
const char *mapdoc_word_order(mb_type type);

/// The meaning with the words for its values.
std::string mapdoc_meaning(const mb_item &item);

/// The element of a group in words ("port 3"), "" where the group has only one.
std::string mapdoc_element(const mb_group &group, uint16_t element);
