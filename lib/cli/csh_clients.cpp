#include "lib/cli/csh_clients.h"

#include "lib/base/result.h"
#include "lib/cli/csh_message.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <unistd.h>

namespace {

std::array<int32_t, k_csh_clients_max> s_clients = {}; // process ids; 0: a free place

bool has_place(int32_t pid) { return std::find(s_clients.begin(), s_clients.end(), pid) != s_clients.end(); }

bool take_place(int32_t pid) {
    const auto place = std::find(s_clients.begin(), s_clients.end(), 0);
    if (place == s_clients.end()) {
        return false;
    }
    *place = pid;
    return true;
}

bool is_alive(int32_t pid) {
    char path[32];
    std::snprintf(path, sizeof path, "/proc/%d", pid);
    return ::access(path, F_OK) == 0;
}

void remove_files(int32_t pid) {
    char path[64];
    // Either may be gone: a client removes its own when it can.
    std::snprintf(path, sizeof path, k_csh_output_format, pid);
    ignore_result(::unlink(path));
    std::snprintf(path, sizeof path, k_csh_client_format, pid);
    ignore_result(::unlink(path));
}

bool free_places_of_the_gone() {
    bool freed = false;
    for (int32_t &pid : s_clients) {
        if (!is_alive(pid)) {
            remove_files(pid);
            pid = 0;
            freed = true;
        }
    }
    return freed;
}

} // namespace

bool csh_client_register(int32_t pid) {
    return has_place(pid) || take_place(pid) || (free_places_of_the_gone() && take_place(pid));
}
