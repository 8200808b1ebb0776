#include "modbus/mbregs.h"

#include "apps/mapdoc/cost.h"
#include "lib/base/bytes.h"
#include "lib/sasi/sasi.h"
#include "modbus/mbident.h"
#include "modbus/mbmap.h"
#include "tests/support/private_scenario.h"
#include "tests/support/sim_switch.h"

#include <gtest/gtest.h>
#include <numeric>
#include <vector>

namespace {

using words = std::vector<uint16_t>;

constexpr uint16_t k_untouched = 0xA5A5;

// A request that fails as a call, and one that fails by its return code.
constexpr sim_request_fault k_faults[] = {{k_sim_fault_fail, 0, 0}, {k_sim_fault_code, 5, 0}};

class Registers : public own_var_tmp {
protected:
    Registers() { mb_init(); }
    /// What a read puts into the reply buffer, which holds 127 registers and k_untouched before.
    static words read(uint16_t number, uint16_t count) {
        std::array<uint8_t, 254> buffer;
        buffer.fill(k_untouched & 0xFF);
        EXPECT_EQ(k_mb_ok, mb_reg_input(buffer, number, count)) << number;
        words values;
        for (size_t i = 0; i < count; i++) {
            values.push_back(get_be16(&buffer[2 * i]));
        }
        return values;
    }
    static uint16_t read_one(uint16_t number) { return read(number, 1)[0]; }

    sim_switch m_switch;
};

} // namespace

TEST_F(Registers, OnlyTheFirstRegisterMustLieInABlock) {
    std::array<uint8_t, 254> buffer;
    for (const uint16_t outside : words{0, 1000, 1146, 1256, 2241, 2280, 2315, 3048, 3304, 5353, 65535}) {
        buffer.fill(0xEE);
        EXPECT_EQ(k_mb_no_register, mb_reg_input(buffer, outside, 1)) << outside;
        EXPECT_EQ(0xEE, buffer[0]) << outside;
    }
    for (const uint16_t inside : words{1001, 1145, 1257, 2240, 2281, 2314, 3049, 3303, 3305, 5352}) {
        EXPECT_EQ(k_mb_ok, mb_reg_input(buffer, inside, 124)) << inside;
        EXPECT_EQ(k_mb_no_register, mb_reg_input(buffer, inside, 0)) << inside;
    }
}

TEST_F(Registers, IdentityItemsStartAtTheirFirstRegisterOnly) {
    for (uint16_t i = 0; i < 16; i++) {
        m_switch->identity.tailer_a[i] = 0x1100 + i;
        m_switch->identity.tailer_b[i] = 0x1200 + i;
        m_switch->identity.header_b[i] = 0x1400 + i;
    }
    for (uint16_t i = 0; i < 12; i++) {
        m_switch->identity.header_a[i] = 0x1300 + i;
    }
    m_switch->identity.tap0 = 0x021122334455;
    m_switch.set_serial("SN1234");
    mb_init();

    words expected(124, 0);
    expected[0] = 0xD8ED;
    for (uint16_t i = 0; i < 16; i++) {
        expected[1 + i] = 0x1100 + i;
        expected[32 + i] = 0x1200 + i;
        expected[96 + i] = 0x1400 + i;
    }
    for (uint16_t i = 0; i < 12; i++) {
        expected[80 + i] = 0x1300 + i;
    }
    expected[64] = 'S' << 8 | 'N';
    expected[65] = '1' << 8 | '2';
    expected[66] = '3' << 8 | '4';
    expected[112] = 0x0211;
    expected[113] = 0x2233;
    expected[114] = 0x4455;
    EXPECT_EQ(expected, read(1001, 124));

    EXPECT_EQ((words{0x1100, 0x1101}), read(1002, 2));
    EXPECT_EQ(words(16, 0), read(1003, 16)); // inside an item
    EXPECT_EQ((words{0, 0, 0x1200}), read(1031, 3));
    EXPECT_EQ((words{0x0211}), read(1113, 1));
    EXPECT_EQ((words{0, 0}), read(1114, 2));
    EXPECT_EQ((words{0, 0, 0}), read(1145, 3)); // past the block's end
    m_switch.set_serial("OTHER");
    EXPECT_EQ('S' << 8 | 'N', read_one(1065)); // fetched once
}

TEST_F(Registers, ReadsCostWhatTheDocumentsSay) {
    const auto requests = [&] {
        const auto &counts = m_switch->request_counts;
        return std::accumulate(std::begin(counts), std::end(counts), 0U);
    };
    EXPECT_EQ(60U, mapdoc_read_cost(1001, 124));
    EXPECT_EQ(48U, mapdoc_read_cost(2025, 1));
    EXPECT_EQ(256U, mapdoc_read_cost(3049, 124));
    for (const mb_block &block : mb_map_blocks()) {
        // Without a ring every look at a group goes through all IDs: a few of those reads are enough.
        const uint16_t step = block.id == mb_block_id::rings ? 63 : 1;
        for (uint16_t number = block.first; number <= block.last;
             number = static_cast<uint16_t>(number + step)) {
            for (const uint16_t count : words{1, 2, 124}) {
                const unsigned before = requests();
                read(number, count);
                ASSERT_EQ(mapdoc_read_cost(number, count), requests() - before) << number << ' ' << count;
            }
        }
    }
}

TEST_F(Registers, PowerAndAlarmFollowTheAlarmWord) {
    struct {
        uint32_t alarm;
        uint16_t main;
        uint16_t redundant;
        uint16_t present;
    } const k_cases[] = {
        {0, 0, 0, 0},        {1U << 19, 2, 0, 1}, {3U << 19, 1, 0, 1},
        {7U << 19, 3, 0, 1}, {1U << 22, 0, 2, 1}, {3U << 22, 0, 1, 1},
        {7U << 22, 0, 3, 1}, {1U << 0, 0, 0, 1},  {1U << 25, 0, 0, 1},
    };
    for (const auto &c : k_cases) {
        m_switch->alarm_word = c.alarm;
        EXPECT_EQ((words{c.main, c.redundant}), read(1129, 2)) << std::hex << c.alarm;
        EXPECT_EQ(c.present, read_one(1145)) << std::hex << c.alarm;
    }
    m_switch->alarm_word = 0;
    m_switch.set_link(11, false);
    EXPECT_EQ(1, read_one(1145));
    m_switch.port(11).alarmed = 0;
    EXPECT_EQ(0, read_one(1145));
    // A request that fails leaves no alarm, not the last one.
    m_switch->alarm_word = 7U << 19 | 7U << 22;
    EXPECT_EQ((words{3, 3}), read(1129, 2));
    for (const sim_request_fault &fault : k_faults) {
        m_switch.fault(k_sasi_alarm, k_sub_alarm_status) = fault;
        EXPECT_EQ((words{0, 0}), read(1129, 2));
        EXPECT_EQ(0, read_one(1145));
    }
}

TEST_F(Registers, PortStateIsTheLowByteOfTheFifthWord) {
    m_switch.port(1).words[4] = 0x1234;
    m_switch.port(12).words[4] = 0x07;
    EXPECT_EQ(0x0034, read_one(1257));
    EXPECT_EQ((words{0x0007, 0xFFFF, 0xFFFF}), read(1268, 3));
    EXPECT_EQ((words{0xFFFF, '1' << 8 | '0'}), read(1512, 2)); // absent port 256, then port 1's media
}

TEST_F(Registers, PortMediaCanBeEnteredAtAnyCharacterPair) {
    const auto text = [](const char *characters) {
        words values(32, 0);
        for (size_t i = 0; characters[i] != 0; i++) {
            values[i / 2] = static_cast<uint16_t>(values[i / 2] | (characters[i] << (i % 2 == 0 ? 8 : 0)));
        }
        return values;
    };
    const char *const k_texts[] = {"100TX,RJ45.", "1000TX,RJ45.", "1000TX,SFP.", "100TX,RJ45."};
    for (uint16_t media = 0; media < 4; media++) {
        m_switch.port(1u + media).media = media;
        EXPECT_EQ(text(k_texts[media]), read(static_cast<uint16_t>(1513 + 32 * media), 32)) << media;
    }
    const words fibre = text("1000TX,SFP.");
    EXPECT_EQ(words(fibre.begin() + 3, fibre.begin() + 25), read(1513 + 64 + 3, 22));
    EXPECT_EQ((words{0, '1' << 8 | '0'}), read(1513 + 31, 2)); // from port 1 into port 2
    EXPECT_EQ(words(12, 0), read(1513 + 20, 12));
}

TEST_F(Registers, CountersFillTwoRegistersWhereverTheReadBegins) {
    const struct {
        uint16_t first;
        uint32_t sub1;
        uint32_t sub2;
    } k_groups[] = {{2025, 9, 10}, {2089, 3, 4}, {2153, 12, 0}, {2217, 6, 0}};
    for (const auto &group : k_groups) {
        for (const size_t port : {1u, 12u}) {
            m_switch.set_counter(port, group.sub1, static_cast<uint32_t>(0xFFFF0000 + group.first + port));
            if (group.sub2 != 0) {
                m_switch.set_counter(port, group.sub2, 0x00010001); // the sum wraps
            }
            const auto value =
                static_cast<uint32_t>(0xFFFF0000 + group.first + port + (group.sub2 != 0 ? 0x00010001 : 0));
            const words pair = {static_cast<uint16_t>(value >> 16), static_cast<uint16_t>(value)};
            const auto first = static_cast<uint16_t>(group.first + 2 * (port - 1));
            EXPECT_EQ(pair, read(first, 2)) << first;
            EXPECT_EQ(pair, read(first + 1, 2)) << first + 1;
            EXPECT_EQ(pair[0], read_one(first)) << first;
        }
    }
}

TEST_F(Registers, RedundancySummaryMapsItsFieldsAndStopsAtGaps) {
    struct {
        uint32_t enabled;
        uint32_t mode;
        uint16_t expected;
    } const k_modes[] = {{0, 2, 0}, {1, 0, 1}, {1, 1, 0}, {1, 2, 2}, {1, 3, 3}, {1, 4, 0}, {2, 2, 0}};
    for (const auto &c : k_modes) {
        m_switch->bridge_enabled = c.enabled;
        m_switch->bridge_mode = c.mode;
        EXPECT_EQ(c.expected, read_one(2281)) << c.enabled << ' ' << c.mode;
    }
    // address, state, words 14 and 18, byte 22, word 26, byte 30, word 34
    m_switch.redundant_ring(0) = {0x010203040506, 1, 1, 0x101, 0x21, 1, 0xF0, 4, 0};
    m_switch.redundant_ring(1) = {0xA1A2A3A4A5A6, 7, 2, 1, 0x22, 4, 0xF1, 0x104, 0};
    EXPECT_EQ((words{0, 1, 0, k_untouched, k_untouched}), read(2281, 5));
    EXPECT_EQ((words{0, k_untouched}), read(2284, 2));
    EXPECT_EQ((words{0, 0}), read(2285, 2));
    m_switch.ring(1).state = 2; // neither on nor off
    EXPECT_EQ((words{0}), read(2285, 1));
    m_switch.ring(1).state = 1;
    EXPECT_EQ((words{1, 0, k_untouched}), read(2285, 3));
    EXPECT_EQ((words{0, k_untouched}), read(2296, 2));

    EXPECT_EQ((words{1,    0,    0x0102, 0x0304, 0x0506, 0xA1A2, 0xA3A4, 0xA5A6, 0x21, 0xF0,
                     0x22, 0xF1, 0,      1,      2,      1,      1,      0,      0,    k_untouched}),
              read(2297, 20));
    EXPECT_EQ((words{0xA3A4, 0xA5A6}), read(2303, 2));
}

TEST_F(Registers, RingGroupsShowTheConfiguredRingsInIdOrder) {
    const std::string name = "a name of thirty-three characters";
    ASSERT_EQ(33U, name.size());
    // name, state, word 24, value 28, port 1, its state, word 60, port 2, its state, word 72, configured,
    // word 133, byte 137, word 141
    m_switch.ring(7) = {{}, 0, 0x1FE, 0xBEEF, 9, 1, 4, 10, 2, 1, 1, 1, 0xFF, 0x345};
    m_switch.set_ring_name(7, name);
    m_switch.ring(8).configured = 2; // not configured
    m_switch.ring(255).configured = 1;
    m_switch.ring(255).port1_state = 3;
    m_switch.ring(255).word133 = 2;

    words expected = {0, 0};
    expected.insert(expected.end(), name.begin(), name.end());
    const words off = {0x0000, 0, 0, 0x0903, 0x0A01, 0x0201};
    const words on = {0x0200, 0x45, 0xBEEF, 0x0903, 0x0A01, 0x0201};
    expected.insert(expected.end(), off.begin(), off.end());
    EXPECT_EQ(expected, read(3049, 41));
    EXPECT_EQ(words(expected.begin() + 5, expected.begin() + 9), read(3054, 4)); // inside the name
    m_switch.ring(1).state = 2;
    EXPECT_EQ(expected, read(3049, 41));
    m_switch.ring(1).state = 1; // ring ID 1 decides for all, configured or not
    expected[0] = 0xFE;
    expected[1] = 1;
    std::copy(on.begin(), on.end(), expected.begin() + 35);
    EXPECT_EQ(expected, read(3049, 41));

    EXPECT_EQ((words{0x0903, 0x0A01, 0x0201, 0, 1}), read(3049 + 38, 5)); // across into the second group
    EXPECT_EQ((words{0x0001, 0, 0, 0x0000, 0x0002}), read(3049 + 41 + 35, 5));
    EXPECT_EQ((words{0x0101, 0, 0, 0x0002, 0x0002, 0}), read(3049 + 82 + 35, 6)); // no third ring
    EXPECT_EQ(words(33, 0), read(3049 + 82 + 2, 33));
    EXPECT_EQ((words{0, 0, k_untouched}), read(3049 + 6 * 41 - 1, 3)); // beyond the sixth group
    EXPECT_EQ((words{0, k_untouched}), read(3303, 2));
}

TEST_F(Registers, MstPortsAreLaidOutInBits) {
    m_switch.mst(5).byte1 = 0x8C;
    m_switch.mst(5).address = 0x000102030405;
    struct {
        sim_mst_port port;
        uint8_t low;
    } const k_cases[] = {
        // bytes 0, 1, 4, 5, 8, 9
        {{0, 0, 0, 0, 0, 0, {}}, 0x03},   {{6, 0, 1, 0, 0, 0, {}}, 0xC0}, {{7, 0, 1, 0, 0, 0, {}}, 0xE0},
        {{255, 1, 1, 0, 0, 0, {}}, 0xE0}, {{0, 2, 1, 0, 0, 0, {}}, 0x08}, {{0, 3, 1, 0, 0, 0, {}}, 0x10},
        {{0, 4, 1, 0, 0, 0, {}}, 0x00},   {{0, 0, 1, 0, 0, 9, {}}, 0x04}, {{0, 0, 1, 0, 1, 0, {}}, 0x01},
        {{0, 0, 1, 1, 1, 0, {}}, 0x02},   {{1, 2, 0, 1, 1, 1, {}}, 0x2F}, {{5, 3, 2, 2, 2, 2, {}}, 0xB6},
    };
    words expected = {0x058C, 0x0001, 0x0203, 0x0405};
    for (size_t i = 0; i < std::size(k_cases); i++) {
        m_switch.mst_port(5, i + 1) = k_cases[i].port;
        expected.push_back(static_cast<uint16_t>(((i + 1) << 8) | k_cases[i].low));
    }
    const uint16_t first = 3305 + 5 * 32;
    EXPECT_EQ(expected, read(first, 16));
    EXPECT_EQ(1U, m_switch.requests(k_sasi_spanning_tree, k_sub_mst_instance));
    EXPECT_EQ(1U, m_switch.requests(k_sasi_spanning_tree, k_sub_mst_ports));
    EXPECT_EQ(words(expected.begin() + 6, expected.begin() + 9), read(first + 6, 3)); // inside the ports

    expected.insert(expected.end(), {0, k_untouched});
    EXPECT_EQ(expected, read(first, 18));
    EXPECT_EQ((words{0x0001, 0x0203}), read(first + 1, 2));
    const uint32_t before = m_switch.requests(k_sasi_spanning_tree, k_sub_mst_ports);
    EXPECT_EQ((words{0, k_untouched}), read(first + 2, 2));                          // not inside the address
    EXPECT_EQ(before + 1, m_switch.requests(k_sasi_spanning_tree, k_sub_mst_ports)); // asked all the same
    EXPECT_EQ((words{0, k_untouched}), read(first + 31, 2)); // nor into the next instance
    EXPECT_EQ(0x3F00, read_one(3305 + 63 * 32));
}

TEST_F(Registers, AFailedRequestServesWhatTheLastOneLeft) {
    m_switch->bridge_enabled = 1;
    m_switch->bridge_mode = 3;
    m_switch.set_counter(1, 9, 1000);
    m_switch.set_counter(1, 10, 5);
    m_switch.port(2).media = 2;
    m_switch.port(2).words[4] = 0x66;
    m_switch.redundant_ring(1).word14 = 1;
    m_switch.ring(1).state = 1;
    m_switch.mst(3).byte1 = 0x77;
    m_switch.mst_port(3, 12) = {5, 0, 1, 0, 0, 0, {}};
    struct {
        uint32_t request;
        uint32_t sub_code;
        uint16_t first;
        uint16_t count;
        words expected;
        uint16_t other; // a register of another port, ring or instance that the same request serves
    } const k_cases[] = {
        {k_sasi_spanning_tree, k_sub_bridge_record, 2281, 1, {3}, 2281},
        {k_sasi_counter, 10, 2025, 2, {0, 1005}, 2025}, // counter 9 is served afresh, and not twice
        {k_sasi_port, k_sub_port_state, 1257 + 1, 1, {0x66}, 1257},
        {k_sasi_port, k_sub_port_media, 1513 + 32 + 1, 1, {'0' << 8 | '0'}, 1513 + 1},
        {k_sasi_redundant_ring, k_sub_redundant_record, 2298, 1, {1}, 2297},
        {k_sasi_ring_redundancy, k_sub_ring_record, 2285, 1, {1}, 2285},
        {k_sasi_spanning_tree, k_sub_mst_instance, 3305 + 96, 1, {0x0377}, 3305},
        {k_sasi_spanning_tree, k_sub_mst_ports, 3305 + 96 + 15, 1, {0x0CA0}, 3305 + 15},
    };
    for (const auto &c : k_cases) {
        EXPECT_EQ(c.expected, read(c.first, c.count)) << c.first;
        for (const sim_request_fault &fault : k_faults) {
            m_switch.fault(c.request, c.sub_code) = fault;
            EXPECT_EQ(c.expected.back() & 0xFF, read(c.other, c.count).back() & 0xFF) << c.first;
        }
        m_switch.fault(c.request, c.sub_code) = {};
    }
}
