#include "lib/cli/csh_server.h"

#include "lib/base/local_socket.h"
#include "lib/base/log.h"
#include "lib/base/monotonic.h"
#include "lib/base/result.h"
#include "lib/base/unique_fd.h"
#include "lib/cli/cli_config.h"
#include "lib/cli/cli_parser.h"
#include "lib/cli/csh_clients.h"
#include "lib/cli/csh_kept.h"
#include "lib/cli/csh_message.h"
#include "lib/cli/csh_output.h"
#include "lib/cli/csh_status.h"
#include "lib/cli/evt_chan.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace {

constexpr const char *k_saved_config = "/var/config/zopsh_config.save";
constexpr const char *k_dhcp_pid_file = "/var/run/udhcpc.pid";
constexpr const char *k_management_interface = "tap0";

constexpr int32_t k_output_lost = -2; // the result of a line that has done its work
constexpr int32_t k_send_attempts = 5;
constexpr useconds_t k_failure_pause_us = 10000;
constexpr int64_t k_look_us = 1000000;

csh_services s_services = {}; // set at start
bool s_busy = false;          // a command holds the shell
int s_socket = -1;            // -1: not made
csh_kept_reply *s_keeping =
    nullptr; // the place of the reply to the line that is being run; null: it is not kept

// ---- one message

using status_text = char[k_csh_text_size];

/// Tells the client a status that has words, and notes that a command holds the shell or has let it go.
void apply_status(int32_t status, status_text &text) {
    for (const csh_status_row &row : k_csh_status) {
        if (row.status != status) {
            continue;
        }
        std::memset(text, 0, sizeof text);
        std::snprintf(text, sizeof text, "%s", row.text);
        if (row.busy != csh_busy_change::none) {
            s_busy = row.busy == csh_busy_change::set;
        }
    }
}

/// Ends all that goes on for a client.
void give_up(int32_t pid) {
    if (s_services.give_up != nullptr) {
        csh_kept_of_client(pid, s_services.give_up);
    }
}

/// What the user does not see is no success: a configuration that was shown into a full "/tmp", say.
void tell_loss(csh_message *message) {
    if (const int32_t error = csh_output_error(); error != 0 && message->result2 == 0) {
        message->result2 = k_output_lost;
        std::memset(message->text, 0, sizeof message->text);
        std::snprintf(message->text, sizeof message->text, "What it printed is lost: %s",
                      std::strerror(error));
    }
}

void execute(csh_message *message, const char *line) {
    give_up(message->pid);
    csh_output_truncate();
    message->result2 = cli_session_execute(&message->session, line);
    message->result1 = cli_last_status();
    tell_loss(message);
    apply_status(message->result1, message->text);
}

int32_t make_auxiliary(int32_t pid) {
    return s_services.make_auxiliary != nullptr ? s_services.make_auxiliary(pid) : -1;
}

int32_t register_client(csh_message *message) {
    if (!csh_client_register(message->pid)) {
        return k_csh_full;
    }
    message->auxiliary = make_auxiliary(message->pid);
    return k_csh_done;
}

void query(csh_message *message, const char *text) {
    const int32_t result =
        s_services.query != nullptr ? s_services.query(message->flag, text, message->session) : -1;
    if (result != -1) {
        message->session.mode_mask = static_cast<uint32_t>(result); // the reply has it in that place
    }
}

void exchange_auxiliary(csh_message *message) {
    if (message->auxiliary == -1) {
        message->auxiliary = make_auxiliary(message->pid);
    } else if (s_services.take_auxiliary != nullptr) {
        s_services.take_auxiliary(message->auxiliary);
    }
}

using authentication = int32_t (*)(int32_t type, const char *text);

int32_t authenticate(csh_message *message, authentication service, const char *text) {
    message->result1 = service != nullptr ? service(message->type, text) : -1;
    return message->result1 == -1 ? k_csh_full : k_csh_done;
}

/// Works on a request while the shell is free. Returns the reply code.
int32_t serve(csh_message *message, const char *text) {
    switch (message->type) {
    case k_csh_register:
        return register_client(message);
    case k_csh_execute:
        execute(message, text);
        return k_csh_done;
    case k_csh_query:
        query(message, text);
        return k_csh_done;
    case k_csh_give_up:
        give_up(message->pid);
        return k_csh_done;
    case k_csh_auxiliary:
        exchange_auxiliary(message);
        return k_csh_auxiliary;
    case 10:
    case 11:
    case 12:
    case 16:
        return authenticate(message, s_services.authenticate, text);
    case 13:
    case 14:
    case 17:
        return authenticate(message, s_services.authenticate_further, text);
    case 15:
        return authenticate(message, s_services.authenticate_15, text);
    case 18:
        return authenticate(message, s_services.authenticate_18, text);
    case 19:
        return authenticate(message, s_services.authenticate_19, text);
    default: // k_csh_release_busy, with nothing to release, is one of these
        return k_csh_done;
    }
}

/// Receives a message and who has sent it. Returns the length it was sent with, -1 when there is none.
ssize_t receive(int fd, csh_message *message, csh_sender *sender) {
    // Room for the credentials alone: the kernel closes descriptors that are sent along.
    alignas(cmsghdr) std::array<uint8_t, CMSG_SPACE(sizeof(ucred))> control{};
    iovec whole = {message, sizeof *message};
    msghdr header{};
    header.msg_name = &sender->address;
    header.msg_namelen = sizeof sender->address;
    header.msg_iov = &whole;
    header.msg_iovlen = 1;
    header.msg_control = control.data();
    header.msg_controllen = control.size();
    const ssize_t length = ::recvmsg(fd, &header, MSG_DONTWAIT | MSG_TRUNC);
    sender->length = header.msg_namelen;
    sender->user = {0, static_cast<uid_t>(-1), static_cast<gid_t>(-1)}; // nobody
    const cmsghdr *const credentials = length >= 0 ? CMSG_FIRSTHDR(&header) : nullptr;
    if (credentials != nullptr && credentials->cmsg_level == SOL_SOCKET &&
        credentials->cmsg_type == SCM_CREDENTIALS) {
        std::memcpy(&sender->user, CMSG_DATA(credentials), sizeof sender->user);
    }
    return length;
}

/// A process that this one cannot see, in another container, say, has the id 0 and is nobody's.
bool speaks_for(const ucred &sender, int32_t pid) {
    return sender.uid == 0 || (sender.pid != 0 && sender.pid == pid);
}

/// A client can put a link to the server in the place of its own socket. Then its reply comes back here, and
/// would be answered for ever.
bool is_own_reply(int fd, const csh_sender &sender) {
    sockaddr_un own{};
    socklen_t length = sizeof own;
    return ::getsockname(fd, reinterpret_cast<sockaddr *>(&own), &length) == 0 && length == sender.length &&
           std::memcmp(&own, &sender.address, length) == 0;
}

void process(csh_message *message, const ucred &sender) {
    if (!speaks_for(sender, message->pid)) {
        message->type = k_csh_full;
        return;
    }
    if (message->type == k_csh_release_busy) {
        s_busy = false;
    } else if (s_busy) {
        message->type = k_csh_busy;
        return;
    }
    char text[k_csh_text_size + 1]; // the client's may come without a NUL
    std::memcpy(text, message->text, k_csh_text_size);
    text[k_csh_text_size] = '\0';
    csh_output_set_client(message->pid, sender.uid);
    message->type = serve(message, text);
}

void reply(int fd, const csh_message &message, const csh_sender &client) {
    for (int32_t attempt = 0; attempt < k_send_attempts; attempt++) {
        if (::sendto(fd, &message, sizeof message, MSG_DONTWAIT,
                     reinterpret_cast<const sockaddr *>(&client.address), client.length) >= 0) {
            return;
        }
    }
    std::printf("%s send error\n", "servMessageDispatcher");
}

// ---- start

/// Makes the server's socket. Returns it, or -1 after printing what failed.
int open_socket(gid_t group) {
    unique_fd fd(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    constexpr int k_on = 1; // before anything can be sent there
    if (!fd.valid() || ::setsockopt(fd.get(), SOL_SOCKET, SO_PASSCRED, &k_on, sizeof k_on) != 0) {
        std::printf("open socket fail!\n");
        return -1;
    }
    if (local_bind(fd.get(), k_csh_server_path, group) != 0) {
        std::perror("bind socket fail!\n");
        return -1;
    }
    sockaddr_un address{};
    socklen_t length = sizeof address;
    if (::getsockname(fd.get(), reinterpret_cast<sockaddr *>(&address), &length) < 0) {
        std::printf("skfd %d errno %d %s\n", fd.get(), errno, std::strerror(errno));
    }
    return fd.release();
}

/// Returns whether there is a socket.
bool make_channel(gid_t group) {
    if (evtChanInit() != 0) {
        std::printf("evtChanInit fail\n");
    }
    s_socket = open_socket(group);
    if (s_socket < 0) {
        std::printf("chan create fail\n");
        return false;
    }
    if (evtChanAdd(s_socket, servMessageDispatcher) != 0) {
        std::printf("evtChanAdd fail\n");
    }
    return true;
}

/// The start-up's own steps, or their defaults.
void run_step(void (*step)()) {
    if (step != nullptr) {
        step();
    }
}

void run_command(const csh_startup &startup, const char *command) {
    // What a command says goes to the console; the server goes on whether it worked or not.
    ignore_result(startup.run_command != nullptr ? startup.run_command(command) : std::system(command));
}

void wait_seconds(const csh_startup &startup, uint32_t seconds) {
    if (startup.wait_seconds != nullptr) {
        startup.wait_seconds(seconds);
    } else {
        ::sleep(seconds);
    }
}

void restart_interface(const csh_startup &startup) {
    char command[64];
    wait_seconds(startup, 5);
    std::snprintf(command, sizeof command, "ifconfig %s down", k_management_interface);
    run_command(startup, command);
    wait_seconds(startup, 1);
    std::snprintf(command, sizeof command, "ifconfig %s up", k_management_interface);
    run_command(startup, command);
}

void apply_address(const csh_startup &startup) {
    if (startup.uses_dhcp == nullptr || !startup.uses_dhcp()) {
        run_step(startup.apply_static_address);
    } else if (::access(k_dhcp_pid_file, F_OK) == 0) {
        run_command(startup, "kill -SIGUSR1 `cat /var/run/udhcpc.pid`");
    } else {
        std::printf("udhcpc renew fail\n");
    }
}

} // namespace

void csh_set_free() { s_busy = false; }

void csh_set_services(const csh_services &services) { s_services = services; }

void servMessageDispatcher(int fd) {
    csh_message message{};
    csh_sender client{};
    const ssize_t length = receive(fd, &message, &client);
    const int error = length < 0 ? errno : 0;
    if (length != static_cast<ssize_t>(sizeof message)) {
        std::printf("recv size wrong %d %d\n", static_cast<int>(length), static_cast<int>(sizeof message));
    }
    if (length < 0) { // nothing came, and there is nobody to answer
        if (error != EAGAIN && error != EINTR) {
            ::usleep(k_failure_pause_us); // it may fail again at once
        }
        return;
    }
    if (is_own_reply(fd, client)) {
        return;
    }
    s_keeping = nullptr;
    process(&message, client.user);
    if (s_keeping != nullptr) {
        s_keeping->message = message;
        s_keeping->client = client;
        s_keeping = nullptr;
        return;
    }
    reply(fd, message, client);
}

int32_t csh_keep_reply() {
    s_keeping = s_keeping != nullptr ? s_keeping : csh_kept_take();
    return s_keeping != nullptr ? s_keeping->ticket : 0;
}

bool csh_select_kept(int32_t ticket) {
    const csh_kept_reply *const kept = csh_kept_find(ticket);
    if (kept != nullptr) {
        csh_output_set_client(kept->message.pid, kept->client.user.uid);
    }
    return kept != nullptr;
}

void csh_answer(int32_t ticket, int32_t result) {
    csh_kept_reply *const kept = csh_kept_find(ticket);
    if (kept != nullptr) {
        kept->message.result2 = result;
        reply(s_socket, kept->message, kept->client);
        csh_kept_free(kept);
    }
}

int32_t csh_server_start(const csh_startup &startup) {
    s_busy = false;
    csh_set_services(startup.services);
    csh_output_serve();
    csh_output_set_client(0, ::geteuid());
    if (!make_channel(startup.socket_group)) {
        return -1;
    }
    run_step(startup.init_modules);
    csh_output_remove(); // what the last start's replay printed
    // A missing file is a switch as it left the factory.
    const int32_t loaded = cli_load_config(k_saved_config, startup.line_failed);
    if (loaded == -1 && errno != ENOENT) {
        std::printf("%s: cannot be read: %s\n", k_saved_config, std::strerror(errno));
        ipc_log_warn("%s: cannot be read: %s", k_saved_config, std::strerror(errno));
    }
    if (loaded == k_cli_load_failed_lines) {
        std::printf("%s: not all lines could be run; the system log says which\n", k_saved_config);
    }
    run_step(startup.init_services);
    if (!startup.skip_interface) {
        restart_interface(startup);
        apply_address(startup);
    }
    while (startup.ready != nullptr && !startup.ready()) {
        wait_seconds(startup, 1);
    }
    for (int64_t looked_us = 0;;) {
        evtChanWait();
        if (const int64_t now = monotonic_us(); now - looked_us >= k_look_us) {
            looked_us = now;
            if (s_services.give_up != nullptr) {
                csh_kept_orphans(s_services.give_up);
            }
            csh_output_set_client(0, ::geteuid()); // what it prints is no client's
            run_step(startup.look_around);
        }
    }
}
