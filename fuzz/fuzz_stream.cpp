// A sequence of stream calls beside a model that knows of each whether it is in bounds and what it returns.
// A breach must be refused and nothing else may be: the abort comes back here instead of ending the process.

#include "lib/base/invariant.h"
#include "lib/base/log.h"
#include "lib/ipc/ipc_stream.h"

#include <algorithm>
#include <csetjmp>
#include <cstdlib>
#include <vector>

namespace {

constexpr size_t k_max_size = 64;

jmp_buf s_refused;      // where a failed assertion goes
size_t s_logged = 0;    // lines for the system log
const uint8_t *s_input; // what is left of it
const uint8_t *s_end;
stream *s_stream = nullptr;
std::vector<uint8_t> s_bytes; // the model: capacity and all bytes
size_t s_getp = 0;
size_t s_endp = 0;

uint8_t next_byte() { return s_input < s_end ? *s_input++ : 0; }

// Small numbers, and some that would wrap.
size_t next_size() {
    const uint8_t byte = next_byte();
    return byte < 224 ? byte % (k_max_size + 8) : SIZE_MAX - (255U - byte);
}

void require(bool holds) {
    if (!holds) {
        std::abort();
    }
}

// Makes a call that must be refused, with its two lines in the log, unless it is in bounds.
template<typename F> bool call(bool in_bounds, F &&operation) {
    s_logged = 0;
    if (setjmp(s_refused) != 0) { // no frame in between owns anything
        require(!in_bounds && s_logged == 2);
        return false;
    }
    operation();
    require(in_bounds);
    return true;
}

uint64_t model_value(size_t at, size_t width) {
    uint64_t value = 0;
    for (size_t i = 0; i < width; ++i) {
        value = (value << 8) | s_bytes[at + i];
    }
    return value;
}

void model_store(size_t at, size_t width, uint64_t value) {
    for (size_t i = 0; i < width; ++i) {
        s_bytes[at + i] = static_cast<uint8_t>(value >> (8 * (width - 1 - i)));
    }
}

bool written(size_t at, size_t width) { return at <= s_endp && s_endp - at >= width; }

template<auto get> void fuzz_get(size_t width) {
    if (call(s_endp - s_getp >= width, [&] { require(get(s_stream) == model_value(s_getp, width)); })) {
        s_getp += width;
    }
}

template<auto get> void fuzz_get_from(size_t width) {
    const size_t at = next_size();
    call(written(at, width), [&] { require(get(s_stream, at) == model_value(at, width)); });
}

template<typename T, auto put> void fuzz_put(size_t width) {
    const T value = static_cast<T>(0x0102030405060708U * next_byte());
    if (call(s_bytes.size() - s_endp >= width,
             [&] { require(static_cast<size_t>(put(s_stream, value)) == width); })) {
        model_store(s_endp, width, value);
        s_endp += width;
    }
}

template<typename T, auto put> void fuzz_put_at(size_t width) {
    const size_t at = next_size();
    const T value = static_cast<T>(0x0102030405060708U * next_byte());
    if (call(written(at, width), [&] { require(static_cast<size_t>(put(s_stream, at, value)) == width); })) {
        model_store(at, width, value);
    }
}

void fuzz_cursor(uint8_t choice) {
    const size_t n = next_size();
    switch (choice % 4) {
    case 0:
        if (call(n <= s_endp, [&] { stream_set_getp(s_stream, n); })) {
            s_getp = n;
        }
        break;
    case 1:
        if (call(n <= s_bytes.size() && n >= s_getp, [&] { stream_set_endp(s_stream, n); })) {
            s_endp = n;
        }
        break;
    case 2:
        if (call(n <= s_endp - s_getp, [&] { stream_forward_getp(s_stream, n); })) {
            s_getp += n;
        }
        break;
    default:
        if (call(n <= s_bytes.size() - s_endp, [&] { stream_forward_endp(s_stream, n); })) {
            s_endp += n;
        }
    }
}

// Puts, writes and reads of blocks.
void fuzz_block(uint8_t choice) {
    static const std::vector<uint8_t> source(k_max_size + 8, 0x5A);
    uint8_t block[k_max_size];
    const size_t n = next_size();
    const size_t fitting = std::min(n, s_bytes.size() - s_endp);
    if (choice % 3 == 0) {
        if (call(n <= s_endp - s_getp, [&] { stream_get(s_stream, block, n); })) {
            require(std::equal(block, block + n, &s_bytes[s_getp]));
            s_getp += n;
        }
        return;
    }
    const bool zeros = choice % 3 == 1;
    s_logged = 0;
    if (zeros) {
        stream_put(s_stream, nullptr, n);
    } else {
        require(stream_write(s_stream, source.data(), n) == fitting);
    }
    require(s_logged == (fitting == n ? 0U : 2U));
    std::fill_n(s_bytes.begin() + static_cast<ptrdiff_t>(s_endp), fitting, zeros ? 0 : 0x5A);
    s_endp += fitting;
}

void fuzz_resize() {
    const size_t n = next_byte() % k_max_size;
    require(stream_resize(s_stream, n) == n);
    const size_t kept = std::min(n, s_bytes.size());
    s_bytes.resize(n);
    std::fill(s_stream->data + kept, s_stream->data + n, 0);
    s_endp = std::min(s_endp, n);
    s_getp = std::min(s_getp, s_endp);
}

void step() {
    const uint8_t choice = next_byte();
    switch (choice % 20) {
    case 0:
        return fuzz_get<stream_getc>(1);
    case 1:
        return fuzz_get<stream_getw>(2);
    case 2:
        return fuzz_get<stream_getl>(4);
    case 3:
        return fuzz_get<stream_getq>(8);
    case 4:
        return fuzz_get_from<stream_getc_from>(1);
    case 5:
        return fuzz_get_from<stream_getw_from>(2);
    case 6:
        return fuzz_get_from<stream_getl_from>(4);
    case 7:
        return fuzz_get_from<stream_getq_from>(8);
    case 8:
        return fuzz_put<uint8_t, stream_putc>(1);
    case 9:
        return fuzz_put<uint16_t, stream_putw>(2);
    case 10:
        return fuzz_put<uint32_t, stream_putl>(4);
    case 11:
        return fuzz_put<uint64_t, stream_putq>(8);
    case 12:
        return fuzz_put_at<uint32_t, stream_putc_at>(1);
    case 13:
        return fuzz_put_at<uint16_t, stream_putw_at>(2);
    case 14:
        return fuzz_put_at<uint32_t, stream_putl_at>(4);
    case 15:
        return fuzz_put_at<uint64_t, stream_putq_at>(8);
    case 16:
        return fuzz_cursor(next_byte());
    case 17:
        return fuzz_block(next_byte());
    case 18:
        return fuzz_resize();
    default:
        stream_reset(s_stream);
        s_getp = s_endp = 0;
    }
}

} // namespace

extern "C" {

void __wrap__Z12ipc_log_warnPKcz(const char *, ...) { ++s_logged; }
bool __wrap__Z13ipc_log_flushi(int32_t) { return true; }

[[noreturn]] void __wrap__Z16invariant_failedRK14invariant_site(const invariant_site &) {
    longjmp(s_refused, 1);
}

int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    s_input = data;
    s_end = data + size;
    s_bytes.assign(1 + next_byte() % k_max_size, 0);
    s_getp = s_endp = 0;
    s_stream = stream_new(s_bytes.size());
    std::fill_n(s_stream->data, s_bytes.size(), 0); // what a moved write end uncovers is compared too
    while (s_input < s_end) {
        step();
        require(s_stream->getp == s_getp && s_stream->endp == s_endp && s_stream->size == s_bytes.size());
        require(
            std::equal(s_bytes.begin(), s_bytes.begin() + static_cast<ptrdiff_t>(s_endp), s_stream->data));
    }
    stream_free(s_stream);
    return 0;
}
}
