#include "modbus/mbcounters.h"

#include "lib/base/monotonic.h"
#include "lib/base/result.h"
#include "lib/base/unique_fd.h"

#include <fcntl.h>
#include <new>
#include <sys/mman.h>
#include <unistd.h>

#ifndef F_SEAL_FUTURE_WRITE
#define F_SEAL_FUTURE_WRITE 0x0010
#endif
#ifndef MFD_NOEXEC_SEAL
#define MFD_NOEXEC_SEAL 0x0008U
#endif

namespace {

mb_counters_page s_unshared = {}; // until there is a shared one
mb_child_counters s_nobodys = {}; // of a process without a place
mb_counters_page *s_page = &s_unshared;
mb_child_counters *s_own = &s_nobodys; // where this process counts

/// Where a code is counted; codes without a place of their own share the last one.
template<size_t N> constexpr std::array<uint8_t, 256> places_of(const std::array<uint8_t, N> &codes) {
    std::array<uint8_t, 256> places = {};
    places.fill(static_cast<uint8_t>(N));
    for (size_t i = 0; i < N; i++) {
        places[codes[i]] = static_cast<uint8_t>(i);
    }
    return places;
}
constexpr std::array<uint8_t, 256> k_function_places = places_of(k_mb_counted_functions);
constexpr std::array<uint8_t, 256> k_exception_places = places_of(k_mb_counted_exceptions);

/// Memory behind a descriptor, with room for the page: it cannot be made shorter under the processes that map
/// it, nor be written by others than them.
unique_fd make_memory() {
    constexpr unsigned k_flags = MFD_CLOEXEC | MFD_ALLOW_SEALING;
    unique_fd memory(::memfd_create(k_mb_counters_name, k_flags | MFD_NOEXEC_SEAL)); // wanted by some
    if (!memory.valid()) {
        memory.reset(::memfd_create(k_mb_counters_name, k_flags)); // kernels before 6.3 do not know it
    }
    if (!memory.valid() || ::posix_fallocate(memory.get(), 0, sizeof(mb_counters_page)) != 0 ||
        ::fcntl(memory.get(), F_ADD_SEALS, F_SEAL_SHRINK | F_SEAL_GROW) != 0) {
        memory.reset();
    }
    return memory;
}

} // namespace

bool mb_counters_share() {
    unique_fd memory = make_memory();
    void *const mapped = memory.valid() ? ::mmap(nullptr, sizeof(mb_counters_page), PROT_READ | PROT_WRITE,
                                                 MAP_SHARED, memory.get(), 0)
                                        : MAP_FAILED;
    if (mapped == MAP_FAILED) {
        return false;
    }
    ignore_result(::fcntl(memory.get(), F_ADD_SEALS, F_SEAL_FUTURE_WRITE)); // kernels before 5.1 have none
    s_page = ::new (mapped) mb_counters_page{};
    s_page->magic = k_mb_counters_magic;
    s_page->version = k_mb_counters_version;
    s_page->size = sizeof(mb_counters_page);
    s_page->process_id = ::getpid();
    s_page->started_us = monotonic_us();
    ignore_result(memory.release()); // held open: this is where mbstat finds it
    return true;
}

mb_counters_page &mb_counters() { return *s_page; }

void mb_counters_enter(int32_t place) {
    s_own = place >= 0 && place < k_tcp_clients_max ? &s_page->children[place] : &s_nobodys;
    sasi_count_in(&s_own->device);
}

void mb_count_request(uint8_t function_code) {
    shared_count_add(s_own->requests[k_function_places[function_code]]);
}

void mb_count_exception(mb_exception exception) {
    const uint8_t place = k_exception_places[static_cast<uint8_t>(exception)];
    if (place < k_mb_counted_exceptions.size()) { // a handler of one's own may give others
        shared_count_add(s_own->exceptions[place]);
    }
}

void mb_count_foreign() { shared_count_add(s_own->foreign); }

void mb_count_read(int64_t took_us) {
    const auto us = static_cast<uint64_t>(took_us);
    shared_count_add(s_own->reads);
    shared_count_add(s_own->read_us, us);
    shared_count_raise(s_own->slowest_read_us, us);
}

void mb_count_end(mb_end how) {
    s_own->said_end.store(static_cast<uint32_t>(how), std::memory_order_relaxed);
}
