#include "lib/cli/csh_kept.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>

namespace {

constexpr size_t k_kept_max = 10; // as many as clients

std::array<csh_kept_reply, k_kept_max> s_kept = {};
int32_t s_last_ticket = 0;

template<typename Fits> csh_kept_reply *find(Fits fits) {
    auto *const found = std::find_if(s_kept.begin(), s_kept.end(), fits);
    return found != s_kept.end() ? found : nullptr;
}

} // namespace

csh_kept_reply *csh_kept_take() {
    csh_kept_reply *const place = find([](const csh_kept_reply &kept) { return kept.ticket == 0; });
    if (place != nullptr) {
        s_last_ticket = s_last_ticket == INT32_MAX ? 1 : s_last_ticket + 1;
        place->ticket = s_last_ticket;
    }
    return place;
}

csh_kept_reply *csh_kept_find(int32_t ticket) {
    return ticket > 0 ? find([=](const csh_kept_reply &kept) { return kept.ticket == ticket; }) : nullptr;
}

void csh_kept_free(csh_kept_reply *kept) { *kept = {}; }

void csh_kept_of_client(int32_t pid, void (*tell)(int32_t ticket)) {
    for (const csh_kept_reply &kept : s_kept) {
        if (kept.ticket != 0 && kept.message.pid == pid) {
            tell(kept.ticket);
        }
    }
}

void csh_kept_orphans(void (*tell)(int32_t ticket)) {
    for (const csh_kept_reply &kept : s_kept) {
        if (kept.ticket != 0 && ::kill(kept.message.pid, 0) != 0 && errno == ESRCH) {
            tell(kept.ticket);
        }
    }
}
