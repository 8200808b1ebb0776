#include "lib/sasi/sasi_engine.h"

#include <gtest/gtest.h>

#include <ostream>
#include <vector>

namespace {

constexpr uint8_t k_untouched = 0xA5;

/// Gives values that tell what was asked for; every byte of a value is another.
struct telling_source {
    int32_t code = 0;

    static constexpr uint32_t word(uint32_t number) { return 0x11223300 + number; }
    int32_t counter(int32_t port, size_t which, uint32_t &value) const {
        value = word(static_cast<uint32_t>(port) * 16 + static_cast<uint32_t>(which));
        return code;
    }
    int32_t ring(int32_t id, sasi_ring &ring) const {
        const auto first = static_cast<uint32_t>(id);
        ring = {word(first), word(1), word(2), word(3), word(4), word(5), word(6),
                word(7),     word(8), 0x2829,  0x52,    0x64,    0x37};
        return code;
    }
    static void ring_name(int32_t id, std::span<uint8_t, ring_at::k_name_size> name) {
        std::fill(name.begin(), name.end(), uint8_t{'n'});
        name[0] = static_cast<uint8_t>(id);
    }
    int32_t alarms(sasi_alarms &alarms) const {
        alarms = {word(1), word(2)};
        return code;
    }
    int32_t port_state(int32_t port, std::span<uint32_t, std::size(k_at_port_words)> words) const {
        for (uint32_t i = 0; i < words.size(); i++) {
            words[i] = word(static_cast<uint32_t>(port) * 16 + i);
        }
        return code;
    }
    int32_t port_media(int32_t port, uint32_t &media) const {
        media = word(static_cast<uint32_t>(port));
        return code;
    }
    int32_t bridge(sasi_bridge &bridge) const {
        bridge = {0x40, 0x41};
        return code;
    }
    int32_t mst_instance(int32_t instance, sasi_mst &mst) const {
        mst = {0x010203040506, static_cast<uint8_t>(instance)};
        return code;
    }
    int32_t mst_ports(int32_t instance, std::span<sasi_mst_port, k_switch_ports> ports) const {
        for (size_t i = 0; i < ports.size(); i++) {
            ports[i] = {static_cast<uint8_t>(i + 1), static_cast<uint8_t>(instance), 0x14, 0x15, 0x18, 0x19};
        }
        return code;
    }
    int32_t redundant_ring(int32_t number, sasi_redundant_ring &ring) const {
        ring = {0x010203040506, word(static_cast<uint32_t>(number)),
                word(14),       word(18),
                word(26),       word(34),
                0x22,           0x30};
        return code;
    }
    int32_t ip_word(sasi_ip_word which, uint32_t &value) const {
        value = word(static_cast<uint32_t>(which));
        return code;
    }
};

uint8_t *at(sasi_block &block, size_t place) {
    return block.payload + (place - offsetof(sasi_block, payload));
}

/// A block in order for port 12, ring 255, instance 63, redundant ring 1; what is no argument of the request
/// is k_untouched.
sasi_block block_of(const sasi_request_row &row) {
    sasi_block block;
    std::memset(&block, k_untouched, sizeof block);
    block.request = row.request;
    block.sub_code = row.sub_code;
    block.index = k_switch_ports;
    if (row.question == sasi_question::redundant_ring) {
        store_native<int32_t>(at(block, k_at_redundant_ring), 1);
        store_native<uint16_t>(at(block, k_at_redundant_one), 1);
        *at(block, k_at_redundant_zero1) = *at(block, k_at_redundant_zero2) = 0;
    } else if (row.question == sasi_question::ring) {
        store_native<int32_t>(at(block, k_at_ring_id), k_ring_ids);
    } else if (row.request == k_sasi_spanning_tree) {
        store_native<int32_t>(at(block, k_at_mst_index), k_mst_instances - 1);
        std::fill_n(at(block, k_at_mst_record) + 1, k_mst_ports_preset, uint8_t{1});
    }
    return block;
}

/// What an answer has made of the bytes that a request's results lie in.
std::vector<uint8_t> results(const sasi_request_row &row, sasi_block block) {
    sasi_answer(telling_source{}, sasi_kind_of(row.request, block), block);
    EXPECT_EQ(0, block.return_code) << row.meaning;
    const uint8_t *first = at(block, row.result_at);
    return {first, first + row.result_size};
}

/// The same, by the places of words and bytes within them.
class wanted {
public:
    explicit wanted(size_t size, uint8_t fill = 0) : m_bytes(size, fill) {}
    wanted &word(size_t place, uint32_t value) {
        store_native(&m_bytes[place], value);
        return *this;
    }
    wanted &bytes(size_t place, std::initializer_list<uint8_t> values) {
        std::copy(values.begin(), values.end(), m_bytes.begin() + static_cast<ptrdiff_t>(place));
        return *this;
    }
    friend bool operator==(const wanted &what, const std::vector<uint8_t> &got) {
        return what.m_bytes == got;
    }
    friend void PrintTo(const wanted &what, std::ostream *out) {
        *out << testing::PrintToString(what.m_bytes);
    }

private:
    std::vector<uint8_t> m_bytes;
};

std::vector<uint8_t> answered(uint32_t request, uint32_t sub_code) {
    const sasi_request_row &row = k_sasi_requests[sasi_request_kind(request, sub_code)];
    return results(row, block_of(row));
}

constexpr auto word = telling_source::word;

TEST(SasiEngine, EveryWordLiesAtItsPlace) {
    for (uint32_t i = 0; i < std::size(k_counter_subs); i++) {
        EXPECT_EQ(wanted(4).word(0, word(12 * 16 + i)), answered(24269, k_counter_subs[i]));
    }
    EXPECT_EQ(wanted(12, k_untouched).word(0, word(1)).word(8, word(2)), answered(24253, 12));
    EXPECT_EQ(wanted(24, k_untouched)
                  .word(0, word(192))
                  .word(4, word(193))
                  .word(12, word(194))
                  .word(16, word(195))
                  .word(20, word(196)),
              answered(24257, 25));
    EXPECT_EQ(wanted(4).word(0, word(12)), answered(24257, 21));
    EXPECT_EQ(wanted(4).word(0, word(0)), answered(24251, 40));
    EXPECT_EQ(wanted(4).word(0, word(1)), answered(24251, 27));
    EXPECT_EQ(wanted(4).word(0, word(2)), answered(24251, 5));
}

TEST(SasiEngine, EveryRecordHasItsFieldsAtTheirPlacesAndIsZeroBetween) {
    wanted ring(145);
    ring.word(0, word(255)).word(24, word(1)).word(56, word(2)).word(60, word(3)).word(68, word(4));
    ring.word(72, word(5)).word(129, word(6)).word(133, word(7)).word(141, word(8));
    ring.bytes(52, {0x52}).bytes(64, {0x64}).bytes(137, {0x37}).bytes(96, {255});
    uint8_t value28[2];
    store_native<uint16_t>(value28, 0x2829);
    ring.bytes(28, {value28[0], value28[1]});
    for (size_t i = 97; i < 129; i++) {
        ring.bytes(i, {'n'});
    }
    EXPECT_EQ(ring, answered(24240, 5));
    EXPECT_EQ(wanted(62).bytes(0, {0x40, 0x41}), answered(24276, 0));
    EXPECT_EQ(wanted(62).bytes(1, {63, 1, 2, 3, 4, 5, 6}), answered(24276, 42));
    wanted table(417);
    for (uint8_t port = 1; port <= 12; port++) {
        table.bytes(16U + 31U * port, {port, 63, 0, 0, 0x14, 0x15, 0, 0, 0x18, 0x19});
    }
    EXPECT_EQ(table, answered(24276, 43));
    EXPECT_EQ(wanted(42)
                  .word(0, word(1))
                  .bytes(4, {1, 2, 3, 4, 5, 6})
                  .word(14, word(14))
                  .word(18, word(18))
                  .bytes(22, {0x22})
                  .word(26, word(26))
                  .bytes(30, {0x30})
                  .word(34, word(34)),
              answered(24284, 0));
}

std::vector<uint8_t> bytes_of(const sasi_block &block) {
    const auto *first = reinterpret_cast<const uint8_t *>(&block);
    return {first, first + offsetof(sasi_block, payload) + k_sasi_payload_size};
}

/// An answer has left all as it was but for the return code, and `size` bytes from `place` on.
void expect_untouched(sasi_block before, const sasi_block &after, size_t place, size_t size) {
    before.return_code = after.return_code;
    std::vector<uint8_t> wanted_bytes = bytes_of(before);
    const std::vector<uint8_t> got = bytes_of(after);
    const auto from = static_cast<ptrdiff_t>(place);
    std::copy_n(got.begin() + from, size, wanted_bytes.begin() + from);
    EXPECT_EQ(wanted_bytes, got);
}

TEST(SasiEngine, NothingIsWrittenBesideTheResultsAndNothingAtAllWithoutThem) {
    constexpr int32_t k_code = 77;
    for (const sasi_request_row &row : k_sasi_requests) {
        SCOPED_TRACE(row.meaning);
        const sasi_block block = block_of(row);
        const size_t kind = sasi_kind_of(row.request, block);
        sasi_block answered = block;
        sasi_answer(telling_source{}, kind, answered);
        expect_untouched(block, answered, row.result_at, row.result_size);
        answered = block;
        sasi_answer(telling_source{k_code}, kind, answered);
        EXPECT_EQ(k_code, answered.return_code);
        expect_untouched(block, answered, 0, 0);
        answered = block;
        sasi_answer(sasi_empty_source{}, kind, answered);
        EXPECT_EQ(k_sasi_not_known, answered.return_code);
        expect_untouched(block, answered, 0, 0);
    }
}

struct wrong_argument {
    sasi_question question;
    size_t place;
    std::vector<int32_t> numbers; // 32-bit, at `place`
};

TEST(SasiEngine, WrongArgumentsAreRefusedAndNoSourceSeesThem) {
    using enum sasi_question;
    const wrong_argument k_wrong[] = {
        {counter, 20, {0, 13, -1, INT32_MIN, INT32_MAX}},
        {port_state, 20, {0, 13, -1}},
        {port_media, 20, {0, 13, -1}},
        {ring, 36, {0, 256, -1, INT32_MIN}},
        {mst_instance, 36, {64, -1}},
        {mst_ports, 36, {64, -1}},
        {mst_ports, 41, {0x01010100, 0x01010102}}, // one byte that is not 1
        {mst_ports, 50, {0x00010101, 0x02010101}},
        {redundant_ring, 42, {2, -1}},
        {redundant_ring, 70, {0, 0x10001, 0x1000001, 0x101}}, // 1, and two bytes zero
    };
    for (const wrong_argument &wrong : k_wrong) {
        for (const sasi_request_row &row : k_sasi_requests) {
            for (const int32_t number : wrong.numbers) {
                if (row.question == wrong.question) {
                    sasi_block block = block_of(row);
                    store_native(reinterpret_cast<uint8_t *>(&block) + wrong.place, number);
                    const sasi_block before = block;
                    sasi_answer(telling_source{}, sasi_kind_of(row.request, block), block);
                    EXPECT_EQ(k_sasi_bad_argument, block.return_code) << row.meaning << ' ' << number;
                    expect_untouched(before, block, 0, 0);
                }
            }
        }
    }
}

TEST(SasiEngine, OnlyTheRequestThatTheBlockNamesIsAnswered) {
    struct {
        uint32_t number, request, sub_code;
    } const k_unknown[] = {
        {24253, 24254, 12}, {24254, 24253, 12},          {24253, 24253, 11},
        {24269, 24269, 5},  {24252, 24252, 5},           {24253 + 0x100, 24253 + 0x100, 12},
        {0, 0, 0},          {UINT32_MAX, UINT32_MAX, 0}, {24240, 24240, UINT32_MAX},
    };
    for (const auto &unknown : k_unknown) {
        sasi_block block{};
        block.request = unknown.request;
        block.sub_code = unknown.sub_code;
        const size_t kind = sasi_kind_of(unknown.number, block);
        EXPECT_EQ(k_sasi_request_kinds, kind) << unknown.number;
        sasi_answer(telling_source{}, kind, block);
        EXPECT_EQ(k_sasi_unknown_request, block.return_code);
    }
    EXPECT_TRUE(sasi_takes(24240) && sasi_takes(24284));
    EXPECT_FALSE(sasi_takes(24240 + 0x100) || sasi_takes(0x541B) || sasi_takes(0x40005EB0));
}

} // namespace
