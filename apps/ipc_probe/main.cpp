// A client of the IPC servers to watch them with: says hello for a route, sends what it is told to, answers
// requests or does not, and prints every message.

#include "lib/base/io.h"
#include "lib/base/local_socket.h"
#include "lib/base/parse_number.h"
#include "lib/base/standard_streams.h"
#include "lib/base/unique_fd.h"
#include "lib/ipc/ipc_api.h"
#include "lib/ipc/ipc_names.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <getopt.h>
#include <memory>
#include <string>
#include <string_view>
#include <sys/socket.h>
#include <vector>

namespace {

constexpr int k_status_usage = 2;

constexpr const char *k_usage =
    "usage: ipc_probe [--web] [--route N] [--status N] [--reply HEX | --silent] [--count N]\n"
    "                 [--send ROUTE,COMMAND[,HEX]]...\n"
    "Connects to the management IPC server as the client of a route, and prints every message.\n"
    "\n"
    "  --web         connects to the web interface's server\n"
    "  --route N     says hello for route N, 1 to 6; without it, says nothing\n"
    "  --status N    answers requests with status N, 0 to 255; 0 otherwise\n"
    "  --reply HEX   answers requests with this payload; with the request's own otherwise\n"
    "  --silent      answers nothing\n"
    "  --count N     ends when N messages have come; otherwise when the server or Ctrl-C ends it\n"
    "  --send ...    sends a one-way message at first, such as 1,67,0102\n"
    "  --help        shows this text\n"
    "\n"
    "Exit status: 0 when it ended as asked, 1 when there is no server or it closed the connection,\n"
    "2 wrong options.\n";

struct one_way {
    ipc_header header;
    std::vector<uint8_t> payload;
};

struct options {
    const char *path = k_ipc_serv_path;
    uint8_t route = 0; // 0: no hello
    uint8_t status = 0;
    bool silent = false;
    bool own_reply = false;
    std::vector<uint8_t> reply;
    uint32_t count = UINT32_MAX; // messages to receive; that many never come
    std::vector<one_way> sends;
};

bool parse_hex(std::string_view text, std::vector<uint8_t> *bytes) {
    bytes->clear();
    for (; text.size() >= 2; text.remove_prefix(2)) {
        uint8_t byte = 0;
        if (!parse_number(text.substr(0, 2), &byte, 16)) {
            return false;
        }
        bytes->push_back(byte);
    }
    return text.empty();
}

/// "ROUTE,COMMAND[,HEX]". Any route and command: what the server makes of wrong ones is worth a look, too.
bool parse_send(std::string_view text, one_way *message) {
    const size_t first = text.find(',');
    if (first == std::string_view::npos) {
        return false;
    }
    const size_t second = text.find(',', first + 1);
    const std::string_view command = text.substr(first + 1, second - first - 1);
    const std::string_view payload = second != std::string_view::npos ? text.substr(second + 1) : "";
    message->header.kind = k_ipc_kind_one_way;
    return parse_number(text.substr(0, first), 0, 255, &message->header.route) &&
           parse_number(command, 0, 65535, &message->header.command) && parse_hex(payload, &message->payload);
}

bool take_option(int letter, const char *value, options *wanted) {
    switch (letter) {
    case 'w':
        wanted->path = k_ipc_web_path;
        return true;
    case 'r':
        return parse_number(value, k_ipc_route_min, k_ipc_route_max, &wanted->route);
    case 's':
        return parse_number(value, 0, 255, &wanted->status);
    case 'p':
        wanted->own_reply = true;
        return parse_hex(value, &wanted->reply);
    case 'q':
        wanted->silent = true;
        return true;
    case 'c':
        return parse_number(value, 0, UINT32_MAX, &wanted->count);
    case 'm':
        return parse_send(value, &wanted->sends.emplace_back());
    default:
        return false;
    }
}

/// Returns -1 to go on, otherwise the status to leave with.
int parse(int argc, char **argv, options *wanted) {
    constexpr option k_options[] = {{"web", no_argument, nullptr, 'w'},
                                    {"route", required_argument, nullptr, 'r'},
                                    {"status", required_argument, nullptr, 's'},
                                    {"reply", required_argument, nullptr, 'p'},
                                    {"silent", no_argument, nullptr, 'q'},
                                    {"count", required_argument, nullptr, 'c'},
                                    {"send", required_argument, nullptr, 'm'},
                                    {"help", no_argument, nullptr, 'h'},
                                    {nullptr, 0, nullptr, 0}};
    for (int letter = 0; (letter = getopt_long(argc, argv, "", k_options, nullptr)) != -1;) {
        if (letter == 'h') {
            std::fputs(k_usage, stdout);
            return 0;
        }
        if (!take_option(letter, optarg, wanted)) {
            if (letter != '?') {
                std::fprintf(stderr, "ipc_probe: %s is not what this option takes\n", optarg);
            }
            std::fputs(k_usage, stderr);
            return k_status_usage;
        }
    }
    if (optind < argc) {
        std::fputs(k_usage, stderr);
        return k_status_usage;
    }
    return -1;
}

const char *kind_name(uint8_t kind) {
    constexpr const char *k_names[] = {"request", "response", "one-way"};
    return kind < std::size(k_names) ? k_names[kind] : "unknown";
}

void print_message(const char *what, const ipc_header &header, std::span<const uint8_t> payload) {
    const char *const name = header.command <= k_ipc_command_max ? ipc_command_name(header.command) : "";
    std::printf("%-8s  %-8s  route %u  command %3u%s%s  status %d  %zu bytes", what, kind_name(header.kind),
                header.route, header.command, *name != '\0' ? " " : "", name, header.status, payload.size());
    constexpr size_t k_shown = 16;
    for (size_t i = 0; i < payload.size() && i < k_shown; i++) {
        std::printf("%s%02x", i == 0 ? "  " : " ", payload[i]);
    }
    std::printf("%s\n", payload.size() > k_shown ? " ..." : "");
    std::fflush(stdout);
}

// ---- the connection

struct free_stream {
    void operator()(stream *s) const { stream_free(s); }
};
using stream_ptr = std::unique_ptr<stream, free_stream>;

unique_fd connect_to(const char *path) {
    local_address address{};
    unique_fd fd(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (!fd.valid() || !local_address_of(path, &address) ||
        ::connect(fd.get(), reinterpret_cast<const sockaddr *>(&address.name), address.length) != 0) {
        std::fprintf(stderr, "ipc_probe: %s: %s\n", path, std::strerror(errno));
        fd.reset();
    }
    return fd;
}

bool send_message(int fd, stream *s, const char *what, const ipc_header &header,
                  std::span<const uint8_t> payload) {
    if (!ipc_wire_build(s, header, payload)) {
        std::fprintf(stderr, "ipc_probe: a message of %zu bytes is too long\n", payload.size());
        return false;
    }
    const size_t length = stream_get_endp(s);
    if (::send(fd, stream_pnt(s), length, MSG_NOSIGNAL) != static_cast<ssize_t>(length)) {
        std::fprintf(stderr, "ipc_probe: the server takes no message: %s\n", std::strerror(errno));
        return false;
    }
    print_message(what, header, payload);
    return true;
}

/// Reads one message into `s`, the read cursor after its header. False at the end of the connection, or when
/// the server sends what is no message.
bool receive_message(int fd, stream *s, ipc_wire_header *wire) {
    stream_reset(s);
    if (read_full(fd, stream_pnt(s), k_ipc_header_size) != k_ipc_header_size) {
        std::fprintf(stderr, "ipc_probe: the server has closed the connection\n");
        return false;
    }
    stream_forward_endp(s, k_ipc_header_size);
    *wire = ipc_wire_parse(s);
    if (wire->marker != k_ipc_marker || wire->version != k_ipc_version || wire->length < k_ipc_header_size) {
        std::fprintf(stderr, "ipc_probe: no message header: marker %u, version %u, length %u\n", wire->marker,
                     wire->version, wire->length);
        return false;
    }
    const size_t rest = wire->length - size_t{k_ipc_header_size};
    if (read_full(fd, s->data + k_ipc_header_size, rest) != static_cast<ssize_t>(rest)) {
        std::fprintf(stderr, "ipc_probe: the server has closed the connection within a message\n");
        return false;
    }
    stream_forward_endp(s, rest);
    return true;
}

bool answer(int fd, stream *output, const options &wanted, const ipc_header &asked,
            std::span<const uint8_t> payload) {
    ipc_header header = asked;
    header.kind = k_ipc_kind_response;
    header.status = wanted.status;
    return send_message(fd, output, "answered", header, wanted.own_reply ? wanted.reply : payload);
}

bool begin(int fd, stream *output, const options &wanted) {
    if (wanted.route != 0 &&
        !send_message(fd, output, "said", {wanted.route, k_ipc_command_hello, k_ipc_kind_one_way, 0},
                      std::span(&wanted.route, 1))) {
        return false;
    }
    return std::all_of(wanted.sends.begin(), wanted.sends.end(), [&](const one_way &message) {
        return send_message(fd, output, "sent", message.header, message.payload);
    });
}

bool run(int fd, const options &wanted) {
    constexpr size_t k_stream_size = 65536;
    const stream_ptr input(stream_new(k_stream_size));
    const stream_ptr output(stream_new(k_stream_size));
    if (input == nullptr || output == nullptr || !begin(fd, output.get(), wanted)) {
        return false;
    }
    for (uint32_t received = 0; received < wanted.count; received++) {
        ipc_wire_header wire{};
        if (!receive_message(fd, input.get(), &wire)) {
            return false;
        }
        const std::span<const uint8_t> payload(stream_pnt(input.get()),
                                               wire.length - size_t{k_ipc_header_size});
        print_message("received", wire.header, payload);
        if (wire.header.kind == k_ipc_kind_request && !wanted.silent &&
            !answer(fd, output.get(), wanted, wire.header, payload)) {
            return false;
        }
    }
    return true;
}

} // namespace

int main(int argc, char **argv) {
    hold_standard_streams();
    options wanted;
    const int early = parse(argc, argv, &wanted);
    if (early >= 0) {
        return early;
    }
    const unique_fd fd = connect_to(wanted.path);
    const int status = fd.valid() && run(fd.get(), wanted) ? EXIT_SUCCESS : EXIT_FAILURE;
    return end_output("ipc_probe", status, EXIT_FAILURE);
}
