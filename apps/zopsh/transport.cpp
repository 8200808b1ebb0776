#include "apps/zopsh/transport.h"

#include "lib/base/io.h"
#include "lib/base/local_socket.h"
#include "lib/base/monotonic.h"
#include "lib/base/plain_file.h"
#include "lib/base/result.h"
#include "lib/base/unique_fd.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <termios.h>
#include <unistd.h>

namespace {

char s_socket_path[64] = ""; // "": there is none; a signal handler reads both
char s_output_path[64] = "";
termios s_terminal = {}; // standard input's settings at the start
bool s_has_terminal = false;
int s_socket = -1;
int s_timeout_seconds = 0;
volatile std::sig_atomic_t s_interrupted = 0; // Ctrl-C came while an answer was waited for
int32_t s_serial = 0;                         // of the last request that carried one
size_t s_shown = 0; // bytes of the output file that have been shown while the command ran

/// By calls that are safe in a signal handler, like the others here.
void remove_files() {
    if (s_socket_path[0] != '\0') {
        ::unlink(s_socket_path);
    }
    if (s_output_path[0] != '\0') {
        ::unlink(s_output_path);
    }
}

void end_by_signal(int number) {
    remove_files();
    if (s_has_terminal) {
        ::tcsetattr(STDIN_FILENO, TCSANOW, &s_terminal); // a line was being edited, perhaps
    }
    ::_exit(128 + number);
}

void catch_signals(bool interruptible) {
    s_has_terminal = ::tcgetattr(STDIN_FILENO, &s_terminal) == 0;
    struct sigaction action {};
    action.sa_handler = end_by_signal;
    for (const int number : {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGPIPE}) {
        struct sigaction before {};
        if (::sigaction(number, nullptr, &before) == 0 && before.sa_handler != SIG_IGN) { // by nohup, say
            ::sigaction(number, &action, nullptr);
        }
    }
    if (interruptible) {
        action.sa_handler = [](int) { s_interrupted = 1; };
        ::sigaction(SIGINT, &action, nullptr);
    }
}

bool bind_own_socket() {
    char path[sizeof s_socket_path];
    std::snprintf(path, sizeof path, k_csh_client_format, ::getpid());
    s_socket = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    timeval limit{};
    limit.tv_sec = s_timeout_seconds; // a server that takes nothing does not hold the user up either
    if (s_socket < 0 || ::setsockopt(s_socket, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit) != 0 ||
        local_bind(s_socket, path, k_no_group) != 0) {
        std::fprintf(stderr, "zopsh: cannot make %s: %s\n", path, std::strerror(errno));
        return false;
    }
    std::memcpy(s_socket_path, path, sizeof path);
    return true;
}

/// The server appends to it; made here so that it is this user's own.
bool make_output_file() {
    char path[sizeof s_output_path];
    std::snprintf(path, sizeof path, k_csh_output_format, ::getpid());
    // Of a process that had this id before; or a directory, by which somebody would keep this user out. What
    // stays makes the next call fail.
    if (::unlink(path) != 0 && errno != ENOENT) {
        ignore_result(local_move_aside(path));
    }
    const unique_fd file(
        ::open(path, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, S_IRUSR | S_IWUSR));
    if (!file.valid()) {
        std::fprintf(stderr, "zopsh: cannot make %s: %s\n", path, std::strerror(errno));
        return false;
    }
    std::memcpy(s_output_path, path, sizeof path);
    return true;
}

/// The server's socket, to tell another server at the same path.
struct server_id {
    dev_t device;
    ino_t inode;

    bool operator==(const server_id &) const = default;
};

server_id s_server = {}; // of the last request

server_id find_server() {
    struct stat status {};
    return ::stat(k_csh_server_path, &status) == 0 ? server_id{status.st_dev, status.st_ino} : server_id{};
}

/// Connected, the socket takes datagrams of the server only. Done before each request: the server may be
/// another one by now. Results of local_connect.
int connect_to_server() { return local_connect(s_socket, k_csh_server_path); }

/// A connection to another server would lose what the one before has sent.
bool server_has_ended() { return !(find_server() == s_server) || connect_to_server() != 0; }

/// The server gives most requests back with the auxiliary word as it was: a serial number there tells their
/// replies from late ones to requests that were given up.
bool carries_serial(int32_t type) { return type != k_csh_register && type != k_csh_auxiliary; }

/// What a request that could not be sent comes to, by errno.
exchange_result not_sent() {
    switch (errno) {
    case EINTR:
        return exchange_result::interrupted;
    case EAGAIN:
        return exchange_result::no_reply;
    case EACCES:
        return exchange_result::forbidden;
    default:
        return exchange_result::no_server;
    }
}

constexpr int64_t k_look_ms = 300; // how often it is looked whether there still is a server, and output
constexpr int64_t k_end_ms = 5000; // how long the end of a command is waited for that was asked to end

/// Whether the reply to a request of this type has been received.
bool take_reply(int32_t type, csh_message *message) {
    const ssize_t length = ::recv(s_socket, message, sizeof *message, MSG_DONTWAIT);
    return length == sizeof *message && (!carries_serial(type) || message->auxiliary == s_serial);
}

/// Asks the server to end what goes on beside it for this client. Its reply carries no serial that is waited
/// for.
void ask_for_end() {
    csh_message message{};
    message.type = k_csh_give_up;
    message.pid = ::getpid();
    // A server that cannot be reached is found out by the wait that goes on.
    ignore_result(::send(s_socket, &message, sizeof message, MSG_DONTWAIT));
}

/// Shows the whole lines that have come. Returns whether there were any.
bool show_progress(const transport_progress &progress) {
    const std::string lines = [] {
        std::string text = transport_output();
        text.erase(text.rfind('\n') + 1); // npos + 1 is 0
        return text;
    }();
    if (lines.empty()) {
        return false;
    }
    s_shown += lines.size();
    progress.show(lines, progress.with);
    return true;
}

int64_t now_ms() { return monotonic_us() / 1000; }

/// How long a reply is waited for.
struct patience {
    int64_t deadline; // by now_ms()
    bool ends;        // the command has been asked to end
};

/// Asks a command to end that Ctrl-C has come for. Returns whether there is still something to wait for.
bool give_up(int32_t type, patience *wait) {
    s_interrupted = 0;
    if (wait->ends || type != k_csh_execute) {
        return false;
    }
    ask_for_end();
    *wait = {now_ms() + k_end_ms, true};
    return true;
}

exchange_result receive(csh_message *message, const transport_progress &progress, int patience_seconds) {
    const int32_t type = message->type;
    const auto begin = [=] { return patience{now_ms() + int64_t{patience_seconds} * 1000, false}; };
    for (patience wait = begin();;) {
        if (s_interrupted != 0 && !give_up(type, &wait)) {
            return exchange_result::interrupted;
        }
        pollfd waiting = {s_socket, POLLIN, 0};
        const int64_t left = wait.deadline - now_ms();
        if (left <= 0) {
            return wait.ends ? exchange_result::interrupted : exchange_result::no_reply;
        }
        const int ready = ::poll(&waiting, 1, static_cast<int>(std::min(left, k_look_ms)));
        const bool ended = ready == 0 && server_has_ended(); // perhaps after it had answered
        if (take_reply(type, message)) {
            return exchange_result::done;
        }
        if (ended) {
            return exchange_result::ended;
        }
        if (ready == 0 && progress.show != nullptr && show_progress(progress) && !wait.ends) {
            wait = begin();
        }
    }
}

} // namespace

bool transport_open(int timeout_seconds, bool interruptible) {
    s_timeout_seconds = timeout_seconds;
    catch_signals(interruptible);
    return bind_own_socket() && make_output_file();
}

void transport_close() {
    remove_files();
    s_socket_path[0] = '\0';
    s_output_path[0] = '\0';
    ::close(s_socket);
    s_socket = -1;
}

exchange_result transport_exchange(int32_t type, const char *text, csh_message *message,
                                   const transport_progress &progress, int patience_seconds) {
    s_shown = 0;
    s_interrupted = 0;
    message->type = type;
    message->pid = ::getpid();
    std::memset(message->text, 0, sizeof message->text);
    std::memcpy(message->text, text, ::strnlen(text, sizeof message->text - 1));
    if (carries_serial(type)) {
        s_serial++;
        message->auxiliary = s_serial;
    }
    s_server = find_server();
    const int connected = connect_to_server();
    if (connected == -2) {
        return exchange_result::foreign;
    }
    if (connected != 0 || ::send(s_socket, message, sizeof *message, 0) != sizeof *message) {
        return not_sent();
    }
    const exchange_result received =
        receive(message, progress, patience_seconds != 0 ? patience_seconds : s_timeout_seconds);
    if (received != exchange_result::done) {
        return received;
    }
    if (message->type == k_csh_busy) {
        return exchange_result::busy;
    }
    return type == k_csh_register && message->type == k_csh_full ? exchange_result::full
                                                                 : exchange_result::done;
}

std::string transport_output() {
    const plain_file file = plain_file_open(s_output_path, O_RDONLY);
    std::string text;
    if (!file.fd.valid() || ::lseek(file.fd.get(), static_cast<off_t>(s_shown), SEEK_SET) < 0) {
        return text;
    }
    std::array<char, 4096> piece{};
    for (ssize_t length = 0; (length = read_full(file.fd.get(), piece.data(), piece.size())) > 0;) {
        text.append(piece.data(), static_cast<size_t>(length));
    }
    return text;
}

const char *transport_words(exchange_result what) {
    switch (what) {
    case exchange_result::done:
        break;
    case exchange_result::no_server:
        return "the shell's server does not run";
    case exchange_result::forbidden:
        return "the shell's server belongs to another user and does not let this one in";
    case exchange_result::foreign:
        return "the shell's server belongs to neither root nor this user; nothing is sent to it";
    case exchange_result::ended:
        return "the shell's server has ended over the request";
    case exchange_result::no_reply:
        return "the shell's server does not answer";
    case exchange_result::interrupted:
        return "given up";
    case exchange_result::busy:
        return "the shell is busy with another command; try again later";
    case exchange_result::full:
        return "all places of the shell are taken; try again when another one has been left";
    }
    return "done";
}
