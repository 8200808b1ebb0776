#include "apps/mbshow/plan.h"
#include "apps/mbshow/report.h"
#include "lib/base/unique_fd.h"

#include <algorithm>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <map>
#include <netinet/in.h>
#include <sys/socket.h>

using testing::HasSubstr;
using testing::Not;

namespace {

using octets = std::vector<uint8_t>;

/// Takes connections on a port of 127.0.0.1, when the test asks for it.
struct listener {
    listener() : socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_in address = {AF_INET, 0, {htonl(INADDR_LOOPBACK)}, {}};
        socklen_t size = sizeof address;
        auto *generic = reinterpret_cast<sockaddr *>(&address);
        EXPECT_EQ(0, ::bind(socket.get(), generic, size));
        EXPECT_EQ(0, ::listen(socket.get(), 1));
        EXPECT_EQ(0, ::getsockname(socket.get(), generic, &size));
        port = ntohs(address.sin_port);
    }
    unique_fd socket;
    uint16_t port = 0;
};

/// An image whose registers are 0 but for those given.
mb_image image_of(const std::map<uint16_t, uint16_t> &registers) {
    mb_image image;
    image.registers.assign(5353, 0);
    for (const auto &[number, word] : registers) {
        image.registers[number] = word;
    }
    return image;
}

} // namespace

TEST(Plan, ReadsEveryItemOnceAndWhole) {
    const std::vector<mb_plan_read> reads = mb_plan_reads();
    for (const mb_plan_read &read : reads) {
        EXPECT_GE(mb_map_safe_count(read.number), read.count) << read.number;
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

TEST(Client, SaysWhatIsWrongWithAReply) {
    octets good = {0, 1, 0, 0, 0, 23, 255, 4, 20};
    good.resize(29);
    const auto with = [&](size_t at, uint8_t value) {
        octets reply = good;
        reply[at] = value;
        return reply;
    };
    octets one_register_fewer = with(5, 21); // all lengths to match
    one_register_fewer[8] = 18;
    one_register_fewer.resize(27);
    const struct {
        const char *message;
        octets reply;
    } k_cases[] = {
        {"another transaction", with(1, 2)},
        {"protocol identifier", with(3, 1)},
        {"another unit", with(6, 1)},
        {"another function", with(7, 3)},
        {"byte count", with(8, 18)},
        {"byte count", one_register_fewer},
        {"length that does not fit", with(5, 2)},
        {"length that does not fit", with(5, 22)},
        {"length that does not fit", with(5, 255)},
        {"length that does not fit", with(4, 255)},
        {"registers 1001..1010 with exception 2", {0, 1, 0, 0, 0, 3, 255, 0x84, 2}},
        {"length that does not fit", {0, 1, 0, 0, 0, 4, 255, 0x84, 2, 0}}, // an exception and more
        {"no answer in time", {0, 1, 0, 0, 0}},
        {"no answer in time", octets(good.begin(), good.end() - 1)},
    };
    const listener server;
    for (const auto &c : k_cases) {
        mb_client client;
        client.timeout_ms = 200;
        ASSERT_TRUE(mb_client_connect(client, "127.0.0.1", server.port)) << client.error;
        const unique_fd peer(::accept(server.socket.get(), nullptr, nullptr));
        ASSERT_EQ(ssize_t(c.reply.size()), ::send(peer.get(), c.reply.data(), c.reply.size(), 0));
        std::array<uint16_t, 10> values;
        EXPECT_FALSE(mb_client_read_input(client, 1001, values)) << c.message;
        EXPECT_THAT(client.error, HasSubstr(c.message));
        EXPECT_FALSE(client.socket.valid());
    }
}

TEST(Client, SaysWhenItIsRefused) {
    mb_client client;
    uint16_t value = 0;
    uint16_t port = 0;
    {
        const listener server;
        port = server.port;
        ASSERT_TRUE(mb_client_connect(client, "127.0.0.1", port)) << client.error;
        unique_fd(::accept(server.socket.get(), nullptr, nullptr)).reset();
        EXPECT_FALSE(mb_client_read_input(client, 1001, {&value, 1}));
        EXPECT_THAT(client.error, HasSubstr("without an answer"));
    }
    EXPECT_FALSE(mb_client_connect(client, "127.0.0.1", port));
    EXPECT_THAT(client.error, HasSubstr("refused"));
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
    mb_image before = image_of({{2025, 0xFFFF}, {2026, 0xFFFF}}); // 6 less, across the wrap
    before.counters_at_ns = -2000000000;
    const std::string json = mb_report_json({"desk", 1502, &image, &before}, -1);
    for (const char *part :
         {R"({"host":"desk","port":1502,"time":"1970-01-01T00:00:00Z","identity":{"device_type":0,)",
          R"("main_power":3,"main_power_text":"no input","redundant_power":9,"alarm":0)",
          R"("ports":[{"port":1,"port_state":0,)", R"("counter_9_10":5,"counter_9_10_per_second":3.0,)",
          R"("redundant_rings":[{"redundant_ring":0,"word14":0,"address":"00:00:00:00:00:00")",
          R"("port1":{"high":7,"low":3})", R"({"mst_instance":1,"instance":{"high":0,"low":0},)",
          R"({"port":1,"bits_7_5":7,"bits_4_3":3,"bit_2":1,"bits_1_0":3})", R"({"mst_instance":63,)"}) {
        EXPECT_THAT(json, HasSubstr(part));
    }
    EXPECT_THAT(json, Not(HasSubstr("65535"))) << "no absent ports";
}
