#include "apps/mbshow/mbap.h"

#include "lib/base/bytes.h"

namespace {

// Places within an ADU, after the header.
constexpr size_t k_at_function = k_mbap_at_pdu;
constexpr size_t k_at_number = k_mbap_at_pdu + 1;
constexpr size_t k_at_count = k_mbap_at_pdu + 3;
constexpr size_t k_at_byte_count = k_mbap_at_pdu + 1;

constexpr size_t k_exception_size = 9;
constexpr uint8_t k_exception_bit = 0x80;

// Indexed by mbap_verdict.
constexpr const char *k_verdict_texts[] = {
    "is good",
    "is an exception",
    "has a protocol identifier other than 0",
    "has a length that does not fit it",
    "has another transaction identifier than the request",
    "has another unit identifier than the request",
    "has another function code than the request",
    "has a byte count that is not the one asked for",
};
static_assert(std::size(k_verdict_texts) == static_cast<size_t>(mbap_verdict::count));

} // namespace

std::array<uint8_t, k_mbap_read_request_size> mbap_put_read(const mbap_read &read) {
    std::array<uint8_t, k_mbap_read_request_size> adu = {};
    put_be16(&adu[k_mbap_at_transaction], read.transaction);
    put_be16(&adu[k_mbap_at_length], static_cast<uint16_t>(adu.size() - k_mbap_length_end));
    adu[k_mbap_at_unit] = k_mbap_own_unit;
    adu[k_at_function] = read.function;
    put_be16(&adu[k_at_number], static_cast<uint16_t>(read.number - 1));
    put_be16(&adu[k_at_count], read.count);
    return adu;
}

size_t mbap_reply_size(std::span<const uint8_t, k_mbap_size> header) {
    const size_t size = k_mbap_length_end + get_be16(&header[k_mbap_at_length]);
    return size >= k_exception_size && size <= k_mbap_adu_max ? size : 0;
}

mbap_verdict mbap_check_reply(const mbap_read &read, std::span<const uint8_t> adu) {
    if (adu.size() < k_exception_size || adu.size() != k_mbap_length_end + get_be16(&adu[k_mbap_at_length])) {
        return mbap_verdict::wrong_length;
    }
    if (get_be16(&adu[k_mbap_at_protocol]) != 0) {
        return mbap_verdict::wrong_protocol;
    }
    if (get_be16(adu.data()) != read.transaction) {
        return mbap_verdict::wrong_transaction;
    }
    if (adu[k_mbap_at_unit] != k_mbap_own_unit) {
        return mbap_verdict::wrong_unit;
    }
    if (adu[k_at_function] == (read.function | k_exception_bit)) {
        return adu.size() == k_exception_size ? mbap_verdict::exception : mbap_verdict::wrong_length;
    }
    if (adu[k_at_function] != read.function) {
        return mbap_verdict::wrong_function;
    }
    if (adu[k_at_byte_count] != 2 * read.count) {
        return mbap_verdict::wrong_byte_count;
    }
    return adu.size() == k_mbap_at_values + adu[k_at_byte_count] ? mbap_verdict::good
                                                                 : mbap_verdict::wrong_length;
}

const char *mbap_verdict_text(mbap_verdict verdict) { return k_verdict_texts[static_cast<size_t>(verdict)]; }
