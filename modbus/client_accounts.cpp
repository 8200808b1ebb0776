#include "modbus/client_accounts.h"

#include "lib/base/log.h"
#include "modbus/mbcounters.h"

#include <algorithm>
#include <arpa/inet.h>
#include <array>
#include <csignal>
#include <cstring>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/wait.h>

namespace {

constexpr int32_t k_free = 0;     // no process
constexpr int32_t k_unnamed = -1; // its process is being made

struct account {
    int32_t process_id; // or one of the above
    sockaddr_in client; // all zero when it is not known
};

std::array<account, k_tcp_clients_max> s_accounts = {};

account *find(int32_t process_id) {
    const auto found = std::find_if(s_accounts.begin(), s_accounts.end(), [&](const account &candidate) {
        return candidate.process_id == process_id;
    });
    return found == s_accounts.end() ? nullptr : &*found;
}

void show_open() {
    const auto open = std::count_if(s_accounts.begin(), s_accounts.end(),
                                    [](const account &candidate) { return candidate.process_id > 0; });
    mb_counters().open.value.store(static_cast<uint64_t>(open), std::memory_order_relaxed);
}

void count_end(mb_end how) { shared_count_add(mb_counters().ended[static_cast<size_t>(how)]); }

void tell_log(const account &ended, int status) {
    char client[INET_ADDRSTRLEN] = "unknown";
    if (ended.client.sin_family == AF_INET) {
        inet_ntop(AF_INET, &ended.client.sin_addr, client, sizeof client);
    }
    const int port = ntohs(ended.client.sin_port);
    if (WIFSIGNALED(status)) {
        const char *name = sigabbrev_np(WTERMSIG(status));
        ipc_log_err("client %s port %d: process %d was ended by signal %d (%s)", client, port,
                    ended.process_id, WTERMSIG(status), name != nullptr ? name : "?");
    } else {
        ipc_log_err("client %s port %d: process %d ended with status %d", client, port, ended.process_id,
                    WEXITSTATUS(status));
    }
}

bool ended_well(int status) { return WIFEXITED(status) && WEXITSTATUS(status) == 0; }

/// What a child says of its end is believed when it ended by itself, and of a frame that it aborted for.
mb_end end_of(uint32_t said, int status) {
    const bool is_known =
        said == static_cast<uint32_t>(mb_end::peer) || said == static_cast<uint32_t>(mb_end::silence);
    const bool bad_frame = said == static_cast<uint32_t>(mb_end::bad_frame);
    return bad_frame || (ended_well(status) && is_known) ? static_cast<mb_end>(said) : mb_end::crash;
}

} // namespace

int32_t client_account_open(int socket) {
    shared_count_add(mb_counters().accepted);
    account *const opened = find(k_free);
    if (opened == nullptr) {
        return -1;
    }
    *opened = {k_unnamed, {}};
    socklen_t size = sizeof opened->client;
    if (::getpeername(socket, reinterpret_cast<sockaddr *>(&opened->client), &size) != 0) {
        opened->client = {}; // gone already
    }
    const auto number = static_cast<int32_t>(opened - s_accounts.data());
    mb_counters().children[number].said_end.store(k_mb_end_not_said, std::memory_order_relaxed);
    return number;
}

void client_account_name(int32_t account_number, int32_t process_id) {
    if (process_id < 0) {
        count_end(mb_end::no_process);
    }
    if (account_number >= 0) {
        s_accounts[static_cast<size_t>(account_number)].process_id = process_id < 0 ? k_free : process_id;
        show_open();
    }
}

void client_account_close(int32_t process_id, int status) {
    account *const closed = find(process_id);
    if (closed == nullptr) {
        return;
    }
    const auto number = closed - s_accounts.data();
    const uint32_t said = mb_counters().children[number].said_end.load(std::memory_order_relaxed);
    count_end(end_of(said, status));
    if (!ended_well(status)) {
        tell_log(*closed, status);
    }
    closed->process_id = k_free;
    show_open();
}
