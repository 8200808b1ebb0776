// The register map as a page for whoever polls the switch.

#include "apps/mapdoc/cost.h"
#include "apps/mapdoc/mapdoc.h"

#include "apps/common/text_append.h"
#include "lib/base/invariant.h"
#include "lib/base/mbap.h"
#include "lib/sasi/sasi_layout.h"
#include "modbus/client_table.h"
#include "modbus/porttcp.h"

#include <algorithm>
#include <vector>

namespace {

struct range {
    unsigned first;
    unsigned last;
};

void put_addressing(std::string &md) {
    const mb_block &identity = mb_map_blocks()[0];
    const unsigned first = identity.first;
    md += "## Before you poll\n\n";
    text_append(
        md,
        "**Addresses.** A register number is the address in the request (PDU address) plus 1. Register "
        "%u is read with PDU address %u and is written 3%04u in 3xxxx notation. Holding registers are "
        "written 4xxxx: register %u is PDU address %u and 4%04u.\n\n",
        first, first - 1, first, unsigned{k_mb_holding_first}, k_mb_holding_first - 1U,
        unsigned{k_mb_holding_first});
    text_append(
        md,
        "    mbpoll -t 3 -r %u -1 HOST      # the device type; mbpoll counts from 1, as this page does\n\n",
        first);
}

void put_functions(std::string &md) {
    text_append(md,
                "**Functions and their limits.** A request beyond a limit is answered with exception 3.\n\n"
                "| Function | Registers in one request |\n|---|---|\n"
                "| 0x04 read input registers | 1 to %u |\n"
                "| 0x03 read holding registers | 1 to %u; only the low byte of the count is looked at |\n"
                "| 0x06 write one holding register | 1 |\n"
                "| 0x10 write holding registers | 1 to %u |\n"
                "| 0x17 write, then read holding registers | write 1 to %u, read 1 to %u |\n\n",
                unsigned{k_mb_input_count_max}, unsigned{k_mb_holding_read_max},
                unsigned{k_mb_holding_write_max}, unsigned{k_mb_exchange_write_max},
                unsigned{k_mb_holding_read_max});
    md +=
        "There are no coils and no discrete inputs: 0x01, 0x02, 0x05 and 0x0F are answered with exception "
        "2, or 3 when the request itself is wrong (more than 1999 bits to read or 1968 to write, say). 0x11 "
        "(report slave ID) is answered with one byte, the function code: a client that waits for a byte "
        "count "
        "behind it runs into its time-out. Any other function is answered with exception 1.\n\n";
}

void put_blocks(std::string &md) {
    md += "**Blocks.** The first register of a request chooses the block, and one outside every block is "
          "answered with exception 2. The end of a request is not looked at: a read that runs past its block "
          "goes "
          "on by the rule of that block and never reaches the next one.\n\n"
          "| Block | Registers | PDU addresses | A register that holds nothing |\n|---|---|---|---|\n";
    for (const mb_block &block : mb_map_blocks()) {
        text_append(md, "| %s | %u..%u | %u..%u | %s |\n", block.name, unsigned{block.first},
                    unsigned{block.last}, block.first - 1U, block.last - 1U,
                    block.gap == mb_gap::zero ? "reads 0" : "ends the reply");
    }
    text_append(md, "| Holding registers | %u..%u | %u..%u | exception 2 for the whole request |\n\n",
                unsigned{k_mb_holding_first}, k_mb_holding_first + k_mb_holding_count - 1U,
                k_mb_holding_first - 1U, k_mb_holding_first + k_mb_holding_count - 2U);
}

void put_early_stops(std::string &md) {
    md += "**Gaps that end the reply.** Where a gap ends the reply, its first register reads 0 and nothing "
          "is put "
          "behind it. The reply still has the length that was asked for and no error tells you: what follows "
          "is "
          "left over from earlier traffic. Never read across such a gap; the tables below say where they "
          "are.\n\n";
    md += "**Largest safe read** in the tables is the most registers that one request may ask for from there "
          "on so "
          "that every register of the reply means something and no item is cut. Where a row stands for many "
          "elements, it is the smallest and the largest of theirs; [register-map.csv](register-map.csv) has "
          "each "
          "one.\n\n";
    md += "**Begin at an item's first register** where its row says so. A read that begins further in sees a "
          "gap in "
          "place of the rest of that item.\n\n";
}

/// The registers of the 32-bit values, after a look that all the page says of them holds.
std::string pair_registers() {
    std::string pairs;
    for (const mb_block &block : mb_map_blocks()) {
        for (const mb_group &group : block.groups) {
            for (const mb_item &item : group.items) {
                if (item.type != mb_type::u32) {
                    continue;
                }
                const unsigned first = unsigned{group.first} + item.offset;
                INVARIANT(item.entry == mb_entry::whole && first % 2 == 1 && group.stride == item.count);
                text_append(pairs, "%s%u..%u", pairs.empty() ? "" : ", ", first,
                            first + unsigned{group.elements} * group.stride - 1);
            }
        }
    }
    return pairs;
}

void put_pairs(std::string &md) {
    text_append(
        md,
        "**32-bit values** (registers %s) fill two registers, the high word first. Each begins at an odd "
        "register number, that is an even PDU address. Begin there and read an even number of registers: a "
        "read that begins on the second register of a pair gives the high word in its place and shifts all "
        "that follows by one; one that ends within a pair makes the switch collect far more than you asked "
        "for. They wrap "
        "to 0 behind 4294967295.\n\n",
        pair_registers().c_str());
}

void put_libraries(std::string &md) {
    text_append(md,
                "**Client libraries** that merge neighbouring items into one read must be told three things: "
                "the longest "
                "read is %u registers (the usual default of 125 is refused with exception 3); a read stays "
                "within its "
                "block (one that begins between two blocks is refused with exception 2, and one that runs on "
                "into the "
                "next block shows nothing of it, without an error); and it does not touch a gap that ends "
                "the reply.\n\n",
                unsigned{k_mb_input_count_max});
}

std::string cost_in_words(uint16_t first, uint16_t count) {
    std::string text;
    text_append(text, "%s%u", mb_map_block_of(first)->id == mb_block_id::rings ? "up to " : "",
                mapdoc_read_cost(first, count));
    return text;
}

struct planned_read {
    uint16_t first;
    uint16_t count;
    const char *what;
};
constexpr planned_read k_once[] = {{1001, 17, "device type, words A of the boot loader"},
                                   {1033, 16, "words B of the boot loader"},
                                   {1065, 7, "serial number"},
                                   {1081, 12, "words A of the firmware"},
                                   {1097, 19, "words B of the firmware, MAC address"}};
constexpr planned_read k_often[] = {{1129, 2, "power inputs"},
                                    {1145, 1, "whether there is an alarm"},
                                    {1257, k_switch_ports, "states of the ports"}};
constexpr planned_read k_at_times[] = {{2025, 2 * k_switch_ports, "counters 9 and 10"},
                                       {2089, 2 * k_switch_ports, "counters 3 and 4"},
                                       {2153, 2 * k_switch_ports, "counter 12"},
                                       {2217, 2 * k_switch_ports, "counter 6"},
                                       {2281, 2, "spanning tree, redundant ring 0"},
                                       {2285, 1, "whether the ring with ID 1 is enabled"},
                                       {2297, 18, "redundant rings"},
                                       {3305, 16, "one MST instance; the next is 32 registers on"}};
constexpr planned_read k_seldom[] = {{1513, 116, "media of ports 1 to 4; then 1641 and 1769"},
                                     {3049, 123, "ring groups 1 to 3; then 3172"}};

void put_plan(std::string &md, const char *when, std::span<const planned_read> reads) {
    for (const planned_read &read : reads) {
        INVARIANT(read.count <= mb_map_safe_count(read.first));
        text_append(md, "| %s | %u | %u | %s | %s |\n", when, unsigned{read.first}, unsigned{read.count},
                    read.what, cost_in_words(read.first, read.count).c_str());
    }
}

void put_costs(std::string &md) {
    md +=
        "**What a read costs.** The daemon asks the switch while your request waits, one inquiry after the "
        "other: in the identity block one for each item and for each register that holds nothing, in the "
        "redundancy summary one for each register, for a port one (two for the counters that are sums), for "
        "an MST instance two, for the ring groups one and another for each ring ID up to the last ring "
        "shown, "
        "which is all of them where a group is unused. So do not join reads because they are near each "
        "other: ";
    text_append(
        md,
        "%u registers from 1001 on make %u inquiries, one register at 2025 (half a counter) %u, %u "
        "registers from 3049 on %s. A plan that asks for what is there, at the pace at which it changes:\n\n"
        "| When | Register | Count | What | Inquiries |\n|---|---|---|---|---|\n",
        unsigned{k_mb_input_count_max}, mapdoc_read_cost(1001, k_mb_input_count_max),
        mapdoc_read_cost(2025, 1), unsigned{k_mb_input_count_max},
        cost_in_words(3049, k_mb_input_count_max).c_str());
    put_plan(md, "once a connection", k_once);
    put_plan(md, "every poll", k_often);
    put_plan(md, "every tenth poll, say", k_at_times);
    put_plan(md, "on a change, or seldom", k_seldom);
    md +=
        "\nRead the serial number (1065) once and keep the connection: the first read on each runs a program "
        "within the switch, and so does every one while it has no serial number.\n\n";
}

void put_sessions(std::string &md) {
    md += "**Holding registers are your connection's own.** They are a store in memory that starts at 0 when "
          "you "
          "connect. What you write is seen by your connection only, changes nothing in the switch, and is "
          "gone when the connection ends. A tool that connects anew for each command reads 0 after it has "
          "written.\n\n";
    text_append(
        md,
        "**Connections.** At most %d at a time; one more is accepted and closed at once, without a byte. A "
        "place that became free can be used again within 5 s: a client that reconnects at once may be closed "
        "again and "
        "tries once more. A connection on which nothing arrives for %d s "
        "is closed, or as much as half a minute later: the kernel rounds long time-outs up. The unit "
        "identifier is not looked at and comes back as sent. A request whose protocol "
        "identifier is not 0 gets no answer.\n\n",
        k_tcp_clients_max, k_tcp_silence_limit_s);
    md += "**Freshness.** Each read asks the switch anew; only the identity words are from the start of the "
          "daemon, "
          "and the serial number from its first read on the connection. When an inquiry within the switch "
          "fails, no "
          "error is sent: the alarm and the power inputs then read 0, as they do when all is well, the MAC "
          "address "
          "all zeros, any other "
          "register what "
          "the same inquiry gave last on this connection, be it for another port, ring or instance, and "
          "before any what an "
          "answer of all zeros gives.\n\n"
          "**Texts** end at their first zero character or with the item: the serial number may fill all of "
          "its 14 "
          "characters.\n\n"
          "**Unused ring groups** are recognised by an empty name with both port numbers 0. Their 36th "
          "register is 0x0001 "
          "or 0x0101 and their 39th and 40th 0x0002, and `configured` reads 0 for a used one too while ring "
          "ID 1 is "
          "off.\n\n";
}

unsigned item_number(const mb_group &group, const mb_item &item, unsigned element) {
    return unsigned{group.first} + element * group.stride + item.offset;
}

/// "1513..1532, then every 32 registers, port 1..12".
std::string registers_of(const mb_group &group, const mb_item &item) {
    std::string text;
    const unsigned first = item_number(group, item, 0);
    if (group.elements > 1 && group.stride == item.count && item.count == 1) {
        text_append(text, "%u..%u", first, item_number(group, item, group.elements - 1U));
    } else if (item.count == 1) {
        text_append(text, "%u", first);
    } else {
        text_append(text, "%u..%u", first, first + item.count - 1);
    }
    if (group.elements > 1) {
        if (group.stride == 1) {
            text += ", one for each ";
        } else {
            text_append(text, ", then every %u registers, ", unsigned{group.stride});
        }
        text_append(text, "%s %u..%u", group.element, unsigned{group.element_number},
                    group.element_number + group.elements - 1U);
    }
    return text;
}

std::string safe_read(const mb_group &group, const mb_item &item) {
    range counts = {k_mb_input_count_max, 0};
    for (unsigned element = 0; element < group.elements; element++) {
        const unsigned count = mb_map_safe_count(static_cast<uint16_t>(item_number(group, item, element)));
        counts.first = std::min(counts.first, count);
        counts.last = std::max(counts.last, count);
    }
    std::string text;
    text_append(text, "%u", counts.first);
    if (counts.last != counts.first) {
        text_append(text, " to %u", counts.last);
    }
    return text;
}

constexpr const char *k_table_head = "| Registers | PDU address | Notation | Count | Type | Word order | "
                                     "Unit | Name | Meaning | Largest safe read |\n"
                                     "|---|---|---|---|---|---|---|---|---|---|\n";

void put_item(std::string &md, const mb_group &group, const mb_item &item) {
    const unsigned first = item_number(group, item, 0);
    text_append(md, "| %s | %u | %u | %u | %s | %s | %s | `%s` | %s | %s |\n",
                registers_of(group, item).c_str(), first - 1, 30000 + first, unsigned{item.count},
                mapdoc_type(item.type), mapdoc_word_order(item.type), item.unit, item.name,
                mapdoc_meaning(item).c_str(), safe_read(group, item).c_str());
}

/// The registers of a block that no item covers.
std::vector<range> gaps_of(const mb_block &block) {
    std::vector<bool> covered(block.last + 1U);
    for (const mb_group &group : block.groups) {
        for (const mb_item &item : group.items) {
            for (unsigned element = 0; element < group.elements; element++) {
                const auto first =
                    covered.begin() + static_cast<ptrdiff_t>(item_number(group, item, element));
                std::fill_n(first, item.count, true);
            }
        }
    }
    std::vector<range> gaps;
    for (unsigned number = block.first; number <= block.last; number++) {
        if (covered[number]) {
            continue;
        }
        if (gaps.empty() || gaps.back().last + 1 != number) {
            gaps.push_back({number, number});
        }
        gaps.back().last = number;
    }
    return gaps;
}

void put_gaps(std::string &md, const mb_block &block) {
    const std::vector<range> gaps = gaps_of(block);
    if (gaps.empty()) {
        return;
    }
    // Equal elements repeat their gaps: two of them and the last show the step.
    constexpr size_t k_spelled_out = 16;
    const bool fold = gaps.size() > k_spelled_out;
    md += block.gap == mb_gap::zero ? "Registers that read 0: " : "**Gaps that end the reply:** ";
    for (size_t i = 0; i < gaps.size(); i++) {
        if (fold && i >= 2 && i + 1 < gaps.size()) {
            continue;
        }
        md += i == 0 ? "" : ", ";
        if (fold && i + 1 == gaps.size()) {
            text_append(md, "and so on every %u registers up to ", gaps[1].first - gaps[0].first);
        }
        text_append(md, gaps[i].first == gaps[i].last ? "%u" : "%u..%u", gaps[i].first, gaps[i].last);
    }
    md += ".\n\n";
}

void put_block(std::string &md, const mb_block &block) {
    text_append(md, "## %s: input registers %u..%u\n\n", block.name, unsigned{block.first},
                unsigned{block.last});
    md += k_table_head;
    for (const mb_group &group : block.groups) {
        for (const mb_item &item : group.items) {
            put_item(md, group, item);
        }
    }
    md += '\n';
    put_gaps(md, block);
}

void put_holding(std::string &md) {
    const unsigned first = k_mb_holding_first;
    const unsigned last = first + k_mb_holding_count - 1;
    text_append(md, "## Holding registers %u..%u\n\n%s", first, last, k_table_head);
    text_append(
        md, "| %u..%u | %u | %u | %u | %s |  |  | `holding` | The connection's own; 0 until written | %u |\n",
        first, last, first - 1, 40000 + first, unsigned{k_mb_holding_count}, mapdoc_type(mb_type::u16),
        unsigned{k_mb_holding_read_max});
}

} // namespace

std::string mapdoc_markdown() {
    std::string md;
    text_append(md,
                "# Register map\n\n"
                "What the switch answers over Modbus TCP (port %u). Written by `mapdoc` from the rows in "
                "`modbus/mbmap.cpp` that the daemon serves from: change those, then build the target `docs`. "
                "The same map for import, a row for every item: [register-map.csv](register-map.csv), "
                "[register-map.json](register-map.json); as a Thing Description: "
                "[register-map.td.json](register-map.td.json).\n\n",
                unsigned{k_modbus_port});
    put_addressing(md);
    put_functions(md);
    put_blocks(md);
    put_early_stops(md);
    put_pairs(md);
    put_libraries(md);
    put_costs(md);
    put_sessions(md);
    for (const mb_block &block : mb_map_blocks()) {
        put_block(md, block);
    }
    put_holding(md);
    return md;
}
