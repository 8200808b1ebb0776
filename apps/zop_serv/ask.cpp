#include "apps/zop_serv/ask.h"

#include "lib/ipc/ipc_api.h"

#include <charconv>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <pthread.h>
#include <unistd.h>

namespace {

ipc_header s_asked = {};

void *ask_on(void * /*argument*/) {
    for (;;) {
        ipc_header header = s_asked;
        const auto start = std::chrono::steady_clock::now();
        protoipc_send_request(&header, nullptr, 0, nullptr, 0);
        const std::chrono::duration<double, std::milli> time = std::chrono::steady_clock::now() - start;
        std::printf("request  route %u  command %u: status %d after %.1f ms%s\n", header.route,
                    header.command, header.status, time.count(),
                    header.status == k_ipc_status_unanswered ? ", unanswered" : "");
        ::sleep(1);
    }
    return nullptr;
}

} // namespace

bool ask_parse(const char *what) {
    const char *const end = what + std::strlen(what);
    s_asked.kind = k_ipc_kind_request;
    s_asked.status = k_ipc_status_unanswered;
    const auto [comma, route_error] = std::from_chars(what, end, s_asked.route);
    if (route_error != std::errc{} || comma == end || *comma != ',') {
        return false;
    }
    const auto [rest, command_error] = std::from_chars(comma + 1, end, s_asked.command);
    return command_error == std::errc{} && rest == end && ipc_route_valid(s_asked.route) &&
           ipc_command_valid(s_asked.command) && s_asked.command != k_ipc_command_hello;
}

bool ask_start() {
    pthread_t thread = 0;
    return pthread_create(&thread, nullptr, ask_on, nullptr) == 0;
}
