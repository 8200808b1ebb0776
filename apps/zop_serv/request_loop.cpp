#include "apps/zop_serv/request_loop.h"

#include "lib/base/parse_number.h"
#include "lib/ipc/ipc_api.h"

#include <chrono>
#include <cstdio>
#include <cstring>
#include <pthread.h>
#include <unistd.h>

namespace {

ipc_header s_request = {};

void *request_for_ever(void * /*argument*/) {
    for (;;) {
        ipc_header header = s_request;
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

bool request_loop_parse(const char *what) {
    const std::string_view text(what);
    const size_t comma = text.find(',');
    s_request.kind = k_ipc_kind_request;
    s_request.status = k_ipc_status_unanswered;
    return comma != std::string_view::npos && parse_number(text.substr(0, comma), &s_request.route) &&
           parse_number(text.substr(comma + 1), &s_request.command) && ipc_route_valid(s_request.route) &&
           ipc_command_valid(s_request.command) && s_request.command != k_ipc_command_hello;
}

bool request_loop_start() {
    pthread_t thread = 0;
    return pthread_create(&thread, nullptr, request_for_ever, nullptr) == 0;
}
