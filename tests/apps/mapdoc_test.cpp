#include "apps/mapdoc/mapdoc.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <regex>
#include <set>

namespace {

using json = nlohmann::json;

/// Parses a document; a key that comes twice in one object is a failure, where a parser would keep the last.
json parsed(const std::string &text) {
    std::vector<std::set<std::string>> keys;
    return json::parse(text, [&](int /*depth*/, json::parse_event_t event, json &value) {
        if (event == json::parse_event_t::object_start) {
            keys.emplace_back();
        } else if (event == json::parse_event_t::object_end) {
            keys.pop_back();
        } else if (event == json::parse_event_t::key) {
            EXPECT_TRUE(keys.back().insert(value.get<std::string>()).second) << value;
        }
        return true;
    });
}

/// The item of the daemon's map whose first register a read of `count` from a PDU address gets, and no more
/// of it than it has.
const mb_item *item_at(unsigned pdu_address, unsigned count) {
    const auto number = static_cast<uint16_t>(pdu_address + 1);
    const mb_block *block = mb_map_block_of(number);
    const mb_place place = block == nullptr ? mb_place{} : mb_map_find(*block, number);
    return place.item != nullptr && place.index == 0 && place.item->count == count ? place.item : nullptr;
}

/// (PDU address, registers) of the requests that a configuration makes, by the words before its numbers. A
/// number that is not there is 1, or 2 for a 32-bit value.
struct read_request {
    unsigned address;
    unsigned count;
};
std::vector<read_request> reads_of(const std::string &text, const std::string &pattern) {
    std::vector<read_request> reads;
    const std::regex each(pattern);
    for (std::sregex_iterator at(text.begin(), text.end(), each), end; at != end; ++at) {
        const std::smatch &match = *at;
        const auto number = [&](size_t group, unsigned otherwise) {
            return match[group].length() > 0 ? static_cast<unsigned>(std::stoul(match[group])) : otherwise;
        };
        const unsigned type_size = match[2] == "uint32" || match[2] == "UINT32" ? 2 : 1;
        reads.push_back({number(1, 0), number(3, type_size) * (number(4, 0) + 1)});
    }
    return reads;
}

} // namespace

TEST(RegisterMapJson, HasEveryItemOfTheMapWhereItIs) {
    const json map = parsed(mapdoc_json());
    size_t inputs = 0;
    for (const json &item : map.at("items")) {
        const unsigned address = item.at("pdu_address");
        const bool input = item.at("function") == "0x04";
        EXPECT_EQ(address + 1, item.at("register"));
        EXPECT_EQ(address, std::stoul(item.at("pdu_address_hex").get<std::string>(), nullptr, 16));
        EXPECT_EQ((input ? 30001 : 40001) + address, std::stoul(item.at("notation").get<std::string>()));
        EXPECT_EQ((input ? 300001 : 400001) + address, std::stoul(item.at("notation_6").get<std::string>()));
        if (input) {
            inputs++;
            const mb_item *const there = item_at(address, item.at("count"));
            ASSERT_NE(nullptr, there) << item;
            EXPECT_EQ(there->name, item.at("name"));
            EXPECT_GE(item.at("largest_safe_read"), item.at("count")) << item;
        }
    }
    size_t expected = 0;
    for (const mb_block &block : mb_map_blocks()) {
        for (const mb_group &group : block.groups) {
            expected += group.elements * group.items.size();
        }
    }
    EXPECT_EQ(expected, inputs);
    EXPECT_EQ(inputs + k_mb_holding_count, map.at("items").size());
    EXPECT_EQ(map.at("blocks").size(), mb_map_blocks().size() + 1);
}

TEST(RegisterMapThing, ReadsEachItemWhole) {
    const json thing = parsed(mapdoc_thing());
    EXPECT_EQ("https://www.w3.org/2022/wot/td/v1.1", thing.at("@context").at(0));
    EXPECT_TRUE(thing.at("securityDefinitions").contains(thing.at("security").at(0)));
    const std::regex href(R"((\d+)/(\d+)\?quantity=(\d+))");
    size_t present = 0;
    for (const auto &[name, property] : thing.at("properties").items()) {
        for (const json &form : property.at("forms")) {
            const std::string where = form.at("href");
            std::smatch match;
            ASSERT_TRUE(std::regex_match(where, match, href)) << where;
            const auto address = static_cast<unsigned>(std::stoul(match[2]));
            const auto count = static_cast<unsigned>(std::stoul(match[3]));
            if (property.at("type") == "array") {
                EXPECT_EQ(count, property.at("maxItems"));
            }
            if (form.at("modv:entity") == "InputRegister") {
                EXPECT_NE(nullptr, item_at(address, count)) << name;
                EXPECT_EQ("readInputRegister", form.at("modv:function"));
                present++;
            } else {
                EXPECT_LE(count, k_mb_holding_write_max);
                EXPECT_LE(address + 1 + count, k_mb_holding_first + k_mb_holding_count);
            }
        }
    }
    EXPECT_GT(present, 300U);
}

TEST(Configurations, AskForWholeItemsInReadsThatAreSafe) {
    const struct {
        std::string text;
        const char *pattern; // address, type, registers, further elements
        bool joins;          // neighbours, as far as they touch
    } k_cases[] = {
        {mapdoc_telegraf(), R"x(address = (\d+), name = "\w+", type = "(\w+)"(?:, length = (\d+))?())x",
         true},
        {mapdoc_home_assistant(),
         R"(address: (\d+)\s+input_type: input\s+data_type: (\w+)(?:\s+count: (\d+))?(?:\s+virtual_count: (\d+))?)",
         false},
    };
    for (const auto &c : k_cases) {
        const std::vector<read_request> reads = reads_of(c.text, c.pattern);
        EXPECT_GT(reads.size(), 50U);
        read_request joined = {0, 0};
        for (const read_request &read : reads) {
            const bool touches = c.joins && joined.address + joined.count == read.address;
            joined = touches ? read_request{joined.address, joined.count + read.count} : read;
            const auto number = static_cast<uint16_t>(joined.address + 1);
            EXPECT_LE(joined.count, mb_map_safe_count(number)) << number;
            EXPECT_NE(nullptr, mb_map_block_of(number)) << number;
        }
        for (const char *name : {"serial_number", "port_state", "counter_6", "word141"}) {
            EXPECT_NE(std::string::npos, c.text.find(name)) << name;
        }
        for (const char *name : {"port_absent", "bridge_address", "boot_words"}) {
            EXPECT_EQ(std::string::npos, c.text.find(name)) << name;
        }
    }
}
