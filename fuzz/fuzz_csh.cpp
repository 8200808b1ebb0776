// Hostile messages to the shell's server, beside a model of the busy mark and of the client table: what is
// answered, with which code, that nothing but output files of clients is opened, and that nothing is done for
// who names another process than its own. The bits of a message's flag say who sends it: 2 a user, otherwise
// root; the sign another process; 4 that
// it is a reply of the server's own that has come back.

#include "lib/cli/cli_help.h"
#include "lib/cli/cli_output.h"
#include "lib/cli/cli_parser.h"
#include "lib/cli/cli_tree.h"
#include "lib/cli/csh_message.h"
#include "lib/cli/csh_server.h"

#include <algorithm>
#include <array>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace {

constexpr int k_socket = 1000;
constexpr int32_t k_messages_max = 16; // in a run: more of them find nothing that these do not
constexpr sockaddr_un k_own_address = {AF_UNIX, "/tmp/csh_serv"};
constexpr sockaddr_un k_client_address = {AF_UNIX, "/tmp/csh_client_2"};
constexpr int32_t k_code_of_service = 7;

const uint8_t *s_input; // what is left of it
const uint8_t *s_end;
csh_message s_request;
int32_t s_replies;
bool s_serving = false; // otherwise a call is the fuzzer's own

// The model.
bool s_busy = false;
std::array<int32_t, 10> s_clients = {};

void require(bool holds) {
    if (!holds) {
        std::abort();
    }
}

bool is_alive(int32_t pid) { return pid % 2 == 0; }

ucred sender_of(const csh_message &request) {
    return {request.flag < 0 ? request.pid ^ 1 : request.pid, (request.flag & 2) != 0 ? 1000U : 0U, 0};
}

bool is_returned(const csh_message &request) { return (request.flag & 4) != 0; }

bool speaks_for_itself(const csh_message &request) {
    return (request.flag & 2) == 0 || (request.flag >= 0 && request.pid != 0);
}

bool model_registers(int32_t pid) {
    if (std::find(s_clients.begin(), s_clients.end(), pid) != s_clients.end()) {
        return true;
    }
    auto place = std::find(s_clients.begin(), s_clients.end(), 0);
    if (place == s_clients.end()) {
        std::replace_if(
            s_clients.begin(), s_clients.end(), [](int32_t client) { return !is_alive(client); }, 0);
        place = std::find(s_clients.begin(), s_clients.end(), 0);
    }
    if (place == s_clients.end()) {
        return false;
    }
    *place = pid;
    return true;
}

int32_t expected_code(const csh_message &request) {
    if (!speaks_for_itself(request)) {
        return k_csh_full;
    }
    if (request.type == k_csh_release_busy) {
        return k_csh_done;
    }
    if (s_busy) {
        return k_csh_busy;
    }
    if (request.type == k_csh_register) {
        return model_registers(request.pid) ? k_csh_done : k_csh_full;
    }
    if (request.type == k_csh_auxiliary) {
        return k_csh_auxiliary;
    }
    const bool absent = request.type >= 10 && request.type <= 19 && request.type != 10 &&
                        request.type != 11 && request.type != 12 && request.type != 16;
    return absent ? k_csh_full : k_csh_done;
}

void check_reply(const csh_message &reply) {
    s_replies++;
    require(reply.type == expected_code(s_request));
    require(reply.pid == s_request.pid && reply.flag == s_request.flag);
    if (reply.type == k_csh_busy || !speaks_for_itself(s_request)) {
        csh_message unchanged = s_request;
        unchanged.type = reply.type;
        require(std::memcmp(&reply, &unchanged, sizeof reply) == 0);
        return;
    }
    if (s_request.type == k_csh_release_busy) {
        s_busy = false;
    } else if (s_request.type == k_csh_execute) {
        constexpr int32_t k_setting[] = {0x1006a, 0x1006b, 0x1006d, 0x1012b, 0x10130};
        const bool sets = std::count(std::begin(k_setting), std::end(k_setting), reply.result1) != 0;
        s_busy = sets;
        require(memchr(reply.text, 0, sizeof reply.text) != nullptr ||
                std::memcmp(reply.text, s_request.text, 512) == 0);
    } else if (s_request.type >= 10 && s_request.type <= 19) {
        require(reply.result1 == (reply.type == k_csh_done ? k_code_of_service : -1));
    }
}

int32_t print_words(int32_t argc, const char *const *argv) {
    for (int32_t i = 0; i < argc; i++) {
        cli_print("%s\n", argv[i]);
    }
    return 0;
}

int32_t set_status(int32_t /*argc*/, const char *const *argv) {
    cli_set_last_status(0x10000 + static_cast<int32_t>(std::strtol(argv[0], nullptr, 16) & 0xFFF));
    return 0;
}

constexpr cli_command k_commands[] = {
    {"print", 0xFFFFFFFF, 0, nullptr, print_words, {}},
    {"status", 0xFFFFFFFF, 0, "HEX_VALUE", set_status, {}},
};

int32_t query(int32_t flag, const char *text, const cli_session &session) {
    require(std::strlen(text) <= 512);
    return flag == 1 ? cli_help_line(session, text) : cli_complete_line(session, text);
}

int32_t authenticate(int32_t /*type*/, const char *text) {
    return cli_print("%s", text) < -1 ? -1 : k_code_of_service;
}

// One plain file stands for all output files.
int output_file() {
    static char s_path[] = "/tmp/fuzz_csh_XXXXXX";
    static const int s_file = [] {
        const int file = ::mkstemp(s_path);
        require(file >= 0);
        std::atexit([] { ::unlink(s_path); });
        return file;
    }();
    return s_file;
}

void serve_one() {
    s_replies = 0;
    s_serving = true;
    servMessageDispatcher(k_socket);
    s_serving = false;
    require(s_replies == (is_returned(s_request) ? 0 : 1));
}

bool set_up() {
    csh_services services = {};
    services.query = query;
    services.authenticate = authenticate;
    csh_set_services(services);
    for (const cli_command &command : k_commands) {
        require(cli_install(5, &command) == 0);
    }
    output_file();
    return true;
}

} // namespace

extern "C" {

ssize_t __wrap_recvmsg(int fd, msghdr *header, int) {
    require(fd == k_socket && header->msg_iovlen == 1 && header->msg_iov->iov_len == sizeof s_request);
    const uint8_t size = *s_input++;
    const size_t length =
        std::min<size_t>({sizeof s_request, size_t{size} * 4, static_cast<size_t>(s_end - s_input)});
    s_request = {};
    std::memcpy(&s_request, s_input, length);
    s_input += length;
    std::memcpy(header->msg_iov->iov_base, &s_request, length);
    require(header->msg_namelen == sizeof(sockaddr_un));
    std::memcpy(header->msg_name, is_returned(s_request) ? &k_own_address : &k_client_address,
                sizeof(sockaddr_un));
    const ucred sender = sender_of(s_request);
    cmsghdr *const control = CMSG_FIRSTHDR(header);
    require(control != nullptr && header->msg_controllen >= CMSG_SPACE(sizeof sender));
    control->cmsg_level = SOL_SOCKET;
    control->cmsg_type = SCM_CREDENTIALS;
    control->cmsg_len = CMSG_LEN(sizeof sender);
    std::memcpy(CMSG_DATA(control), &sender, sizeof sender);
    return static_cast<ssize_t>(length);
}

ssize_t __wrap_sendto(int fd, const void *buffer, size_t size, int, const sockaddr *, socklen_t) {
    require(fd == k_socket && size == sizeof(csh_message));
    csh_message reply;
    std::memcpy(&reply, buffer, sizeof reply);
    check_reply(reply);
    return static_cast<ssize_t>(size);
}

int __real_getsockname(int fd, sockaddr *address, socklen_t *length);
int __wrap_getsockname(int fd, sockaddr *address, socklen_t *length) {
    if (fd != k_socket) {
        return __real_getsockname(fd, address, length);
    }
    std::memcpy(address, &k_own_address, std::min<size_t>(*length, sizeof k_own_address));
    *length = sizeof k_own_address;
    return 0;
}

int __real_open(const char *path, int flags, ...);
int __real_access(const char *path, int mode);
int __real_unlink(const char *path);

int __wrap_open(const char *path, int flags, ...) {
    if (!s_serving) {
        va_list arguments;
        va_start(arguments, flags);
        const int mode = (flags & O_CREAT) != 0 ? va_arg(arguments, int) : 0;
        va_end(arguments);
        return __real_open(path, flags, mode);
    }
    require(std::strncmp(path, "/tmp/ttyout-", 12) == 0 && (flags & O_NOFOLLOW) != 0);
    return ::dup(output_file());
}

int __wrap_access(const char *path, int mode) {
    if (!s_serving) {
        return __real_access(path, mode);
    }
    require(std::strncmp(path, "/proc/", 6) == 0);
    return is_alive(static_cast<int32_t>(std::strtol(path + 6, nullptr, 10))) ? 0 : -1;
}

int __wrap_unlink(const char *path) {
    if (!s_serving) {
        return __real_unlink(path);
    }
    require(std::strncmp(path, "/tmp/ttyout-", 12) == 0 || std::strncmp(path, "/tmp/csh_client_", 16) == 0);
    return 0;
}

[[gnu::format(printf, 1, 2)]] int __wrap_printf(const char *format, ...) {
    if (s_serving) { // a complaint about a size
        return 0;
    }
    va_list arguments;
    va_start(arguments, format);
    const int length = std::vprintf(format, arguments);
    va_end(arguments);
    return length;
}

int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    static const bool s_set_up = set_up();
    require(s_set_up);
    s_input = data;
    s_end = data + size;
    for (int32_t messages = 0; s_input < s_end && messages < k_messages_max; messages++) {
        serve_one();
    }
    // No run depends on what the one before has left.
    std::array<uint8_t, 1 + sizeof s_request.type> release = {1};
    std::memcpy(release.data() + 1, &k_csh_release_busy, sizeof k_csh_release_busy);
    s_input = release.data();
    s_end = s_input + release.size();
    serve_one();
    require(!s_busy);
    return 0;
}
}
