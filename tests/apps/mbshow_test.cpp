#include "apps/mbshow/plan.h"
#include "apps/mbshow/report.h"
#include "lib/base/bytes.h"
#include "tests/apps/scripted_server.h"

#include <algorithm>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <map>

using testing::HasSubstr;
using testing::Not;

namespace {

bool ends_a_reply(const mb_block &block, uint16_t number) {
    return block.gap == mb_gap::stop && mb_map_find(block, number).item == nullptr;
}

/// Whether function 0x04 serves all of it: within its limit and one block, over no gap that ends the reply.
/// Items known at their first register only count as a whole.
bool is_served(uint32_t first, uint32_t end) {
    const mb_block *block = mb_map_block_of(static_cast<uint16_t>(first));
    if (block == nullptr || end - first > 124 || end > block->last + 1U) {
        return false;
    }
    for (uint32_t number = first; number < end; number++) {
        const mb_place place = mb_map_find(*block, static_cast<uint16_t>(number));
        if (ends_a_reply(*block, static_cast<uint16_t>(number))) {
            return false;
        }
        number += place.item == nullptr ? 0 : place.item->count - place.index - 1U;
    }
    return true;
}

/// An image whose registers are 0 but for those given.
mb_image image_of(const std::map<uint16_t, uint16_t> &registers) {
    mb_image image;
    image.registers.assign(5353, 0);
    for (const auto &[number, word] : registers) {
        image.registers[number] = word;
    }
    return image;
}

std::string text_of(const std::map<uint16_t, uint16_t> &registers) {
    const mb_image image = image_of(registers);
    return mb_report_text({"desk", 502, &image, nullptr});
}

} // namespace

TEST(Plan, ReadsEveryItemOnceAndWhole) {
    const std::vector<mb_plan_read> reads = mb_plan_reads();
    for (const mb_plan_read &read : reads) {
        EXPECT_TRUE(is_served(read.number, read.number + uint32_t{read.count})) << read.number;
    }
    for (const mb_block &block : mb_map_blocks()) {
        for (uint16_t number = block.first; number <= block.last; number++) {
            const mb_place place = mb_map_find(block, number);
            if (place.item == nullptr || place.index != 0 || place.item->id == mb_item_id::port_absent) {
                continue;
            }
            const auto times = std::count_if(reads.begin(), reads.end(), [&](const mb_plan_read &read) {
                return number >= read.number && number + place.item->count <= read.number + read.count;
            });
            EXPECT_EQ(1, times) << number;
        }
    }
}

TEST(Plan, HasNoRequestToSpare) {
    const std::vector<mb_plan_read> reads = mb_plan_reads();
    for (size_t i = 1; i < reads.size(); i++) {
        // The item that begins a request would not have gone into the one before it.
        const mb_block *block = mb_map_block_of(reads[i].number);
        ASSERT_NE(nullptr, block);
        const uint32_t end = reads[i].number + uint32_t{mb_map_find(*block, reads[i].number).item->count};
        EXPECT_FALSE(is_served(reads[i - 1].number, end)) << reads[i].number;
    }
}

TEST(Client, SaysWhatIsWrongWithAReply) {
    using reply = scripted_server::reply;
    struct damage_case {
        const char *message;
        void (*damage)(reply &);
    };
    const damage_case cases[] = {
        {"another transaction", [](reply &r) { r[1]++; }},
        {"protocol identifier", [](reply &r) { r[3] = 1; }},
        {"another unit", [](reply &r) { r[6] = 1; }},
        {"another function", [](reply &r) { r[7] = 3; }},
        {"byte count", [](reply &r) { r[8] = 18; }},
        {"length that does not fit", [](reply &r) { put_be16(&r[4], 2); }},
        {"length that does not fit", [](reply &r) { put_be16(&r[4], 255); }},
        {"length that does not fit", [](reply &r) { put_be16(&r[4], 0xFFFF); }},
        {"length that does not fit",
         [](reply &r) { put_be16(&r[4], static_cast<uint16_t>(get_be16(&r[4]) - 1)); }},
        {"byte count", // one register fewer, all lengths to match
         [](reply &r) {
             r.resize(r.size() - 2);
             put_be16(&r[4], 21);
             r[8] = 18;
         }},
        {"registers 1001..1010 with exception 2",
         [](reply &r) { r = {r[0], r[1], 0, 0, 0, 3, r[6], 0x84, 2}; }},
        {"length that does not fit", // an exception with more behind it
         [](reply &r) { r = {r[0], r[1], 0, 0, 0, 4, r[6], 0x84, 2, 0}; }},
        {"no answer in time", [](reply &r) { r.resize(5); }},
        {"no answer in time", [](reply &r) { r.pop_back(); }},
        {"without an answer", [](reply &r) { r.clear(); }},
    };
    for (const damage_case &c : cases) {
        const scripted_server server([](uint16_t number) { return number; }, c.damage);
        mb_client client;
        std::array<uint16_t, 10> values;
        client.timeout_ms = 200;
        ASSERT_TRUE(mb_client_connect(client, "127.0.0.1", server.port())) << client.error;
        EXPECT_FALSE(mb_client_read_input(client, 1001, values)) << c.message;
        EXPECT_THAT(client.error, HasSubstr(c.message));
        EXPECT_FALSE(client.socket.valid());
    }
}

TEST(Client, SaysWhenNothingListens) {
    uint16_t port = 0;
    {
        const scripted_server server([](uint16_t) { return uint16_t{0}; });
        port = server.port();
    }
    mb_client client;
    EXPECT_FALSE(mb_client_connect(client, "127.0.0.1", port));
    EXPECT_THAT(client.error, HasSubstr("refused"));
}

TEST(Image, HoldsEachRegisterInItsPlace) {
    const scripted_server server([](uint16_t number) { return number; });
    mb_client client;
    mb_image image;
    ASSERT_TRUE(mb_client_connect(client, "localhost", server.port())) << client.error;
    ASSERT_TRUE(mb_image_read(client, image)) << client.error;
    for (const mb_plan_read &read : mb_plan_reads()) {
        for (uint16_t number = read.number; number < read.number + read.count; number++) {
            EXPECT_EQ(number, image.registers[number]);
        }
    }
    EXPECT_NE(0, image.counters_at_ns);
}

TEST(Image, RatesOutlastAWrap) {
    mb_image before = image_of({{2027, 0xFFFF}, {2028, 0xFFF0}});
    mb_image now = image_of({{2028, 0x0010}});
    now.counters_at_ns = before.counters_at_ns + 2000000000;
    EXPECT_DOUBLE_EQ(16, mb_image_rate(now, before, mb_item_id::counter_9_10, 1));
    EXPECT_DOUBLE_EQ(0, mb_image_rate(now, before, mb_item_id::counter_9_10, 2));
}

TEST(Report, TellsInWords) {
    const std::string text = text_of({{1065, 0x4142},
                                      {1066, 0x4300},
                                      {1067, 0x4444},
                                      {1113, 0x0A1B},
                                      {1115, 0x00FF},
                                      {1129, 1},
                                      {1130, 9},
                                      {1145, 1},
                                      {1259, 7},
                                      {2031, 1},
                                      {2281, 2}});
    EXPECT_THAT(text, HasSubstr("Serial number      ABC\n"));
    EXPECT_THAT(text, HasSubstr("MAC address        0A:1B:00:00:00:FF\n"));
    EXPECT_THAT(text, HasSubstr("Main power         under-voltage\n"));
    EXPECT_THAT(text, HasSubstr("Redundant power    unknown (9)\n"));
    EXPECT_THAT(text, HasSubstr("Alarm              present\n"));
    EXPECT_THAT(text, HasSubstr("\n     3     7 "));
    EXPECT_THAT(text, testing::ContainsRegex("\n     4     0  +65536 "));
    EXPECT_THAT(text, HasSubstr("Spanning tree      on (protocol mode 2)\n"));
}

TEST(Report, ShowsRingsAndInstancesInUseOnly) {
    // What a slave gives for groups without a ring and for instances that are not there.
    std::map<uint16_t, uint16_t> idle;
    for (uint16_t group = 0; group < 6; group++) {
        const auto first = static_cast<uint16_t>(3049 + 41 * group);
        idle[first + 35] = 0x0101;
        idle[first + 38] = idle[first + 39] = 2;
    }
    for (uint16_t i = 0; i < 64; i++) {
        idle[static_cast<uint16_t>(3305 + 32 * i)] = static_cast<uint16_t>(i << 8);
        idle[static_cast<uint16_t>(3309 + 32 * i)] = 0x0103;
    }
    EXPECT_THAT(text_of(idle), HasSubstr("Rings: 0 of 6"));
    EXPECT_THAT(text_of(idle), HasSubstr("MST: 0 of 64"));
    idle[3049 + 41 + 2] = 'N';         // a name
    idle[3049 + 82 + 39] = 0x0402;     // the second port
    idle[3049 + 123 + 1] = 1;          // the flag
    idle[3305 + 32 * 63 + 3] = 1;      // the last byte of an address
    idle[3305 + 32 * 63 + 4] = 0x01B5; // bits 101, 10, 1, 01
    const std::string text = text_of(idle);
    EXPECT_THAT(text, HasSubstr("Rings: 3 of 6"));
    EXPECT_THAT(text, HasSubstr("\n      2 "));
    EXPECT_THAT(text, HasSubstr("\n  Instance 63: bridge 00:00:00:00:00:01"));
    EXPECT_THAT(text, HasSubstr("    Bits 7..5    5 "));
    EXPECT_THAT(text, HasSubstr("    Bits 4..3    2 "));
    EXPECT_THAT(text, HasSubstr("    Bits 1..0    1 "));
}

TEST(Report, LetsNothingUnprintableThrough) {
    for (const uint16_t word : {uint16_t{0x1B5B}, uint16_t{0xFF9B}, uint16_t{0x0A0D}, uint16_t{0xFFFF}}) {
        mb_image image;
        image.registers.assign(5353, word);
        const mb_report report = {"h\xFFst", 502, &image, nullptr};
        const std::string json = mb_report_json(report, -1);
        std::string text = mb_report_text({"host", 502, &image, nullptr});
        text.erase(std::remove(text.begin(), text.end(), '\n'), text.end());
        const auto printable = [](char c) { return c >= ' ' && c <= '~'; };
        EXPECT_TRUE(std::all_of(text.begin(), text.end(), printable)) << word;
        EXPECT_TRUE(std::all_of(json.begin(), json.end(), [](char c) { return c >= ' ' || c < 0; })) << word;
    }
}

TEST(Report, JsonHasTheRowsNamesAndAllElements) {
    const mb_image image =
        image_of({{1129, 3}, {1130, 9}, {2026, 5}, {3087, 0x0703}, {3305 + 32 + 4, 0x01FF}});
    mb_image before = image_of({});
    before.counters_at_ns = -1000000000;
    const std::string json = mb_report_json({"desk", 1502, &image, &before}, -1);
    for (const char *part :
         {R"({"host":"desk","port":1502,"time":"1970-01-01T00:00:00Z","identity":{"device_type":0,)",
          R"("main_power":3,"main_power_text":"no input","redundant_power":9,"alarm":0)",
          R"("ports":[{"port":1,"port_state":0,)", R"("counter_9_10":5,"counter_9_10_per_second":5.0,)",
          R"("redundant_rings":[{"redundant_ring":0,"word14":0,"address":"00:00:00:00:00:00")",
          R"("port1":{"high":7,"low":3})", R"({"mst_instance":1,"instance":{"high":0,"low":0},)",
          R"({"port":1,"bits_7_5":7,"bits_4_3":3,"bit_2":1,"bits_1_0":3})", R"({"mst_instance":63,)"}) {
        EXPECT_THAT(json, HasSubstr(part));
    }
    EXPECT_THAT(json, Not(HasSubstr("65535"))) << "no absent ports";
}
