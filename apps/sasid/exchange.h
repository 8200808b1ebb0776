#pragma once

#include "lib/sasi/sasi_requests.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>

// Which bytes of a client's block a request takes along. The kernel asks before it knows what the block says,
// so that they go by the request number; they reach from the block's beginning to the end of the arguments
// and results that its requests have. All of them are fetched, also those of results: what an answer leaves
// as it was is written back as it was.

inline constexpr size_t k_exchange_written = offsetof(sasi_block, return_code); // from here on

/// How many bytes are fetched.
constexpr size_t sasid_exchange_size(uint32_t number) {
    size_t end = k_exchange_written + sizeof(sasi_block::return_code);
    for (const sasi_request_row &row : k_sasi_requests) {
        if (row.request == number) {
            end = std::max(end, size_t{row.result_at} + row.result_size);
        }
    }
    return end;
}

/// How many bytes from k_exchange_written on are written back: the return code alone where there are no
/// results.
constexpr size_t sasid_exchange_written(uint32_t number, int32_t return_code) {
    return return_code == 0 ? sasid_exchange_size(number) - k_exchange_written
                            : sizeof(sasi_block::return_code);
}
