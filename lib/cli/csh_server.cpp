#include "lib/cli/csh_server.h"

#include "lib/base/result.h"
#include "lib/base/unique_fd.h"
#include "lib/cli/cli_parser.h"
#include "lib/cli/csh_clients.h"
#include "lib/cli/csh_message.h"
#include "lib/cli/csh_output.h"
#include "lib/cli/csh_status.h"
#include "lib/cli/evt_chan.h"

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

constexpr int32_t k_send_attempts = 5;

csh_services s_services = {}; // set at start
bool s_busy = false;          // a command holds the shell
int s_socket = -1;            // -1: not made

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

void execute(csh_message *message, const char *line) {
    csh_output_truncate();
    message->result2 = cli_session_execute(&message->session, line);
    message->result1 = cli_last_status();
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

void process(csh_message *message) {
    if (message->type == k_csh_release_busy) {
        s_busy = false;
    } else if (s_busy) {
        message->type = k_csh_busy;
        return;
    }
    char text[k_csh_text_size + 1]; // the client's may come without a NUL
    std::memcpy(text, message->text, k_csh_text_size);
    text[k_csh_text_size] = '\0';
    csh_output_set_client(message->pid);
    message->type = serve(message, text);
}

void reply(int fd, const csh_message &message, const sockaddr_un &client, socklen_t client_length) {
    for (int32_t attempt = 0; attempt < k_send_attempts; attempt++) {
        if (::sendto(fd, &message, sizeof message, MSG_DONTWAIT, reinterpret_cast<const sockaddr *>(&client),
                     client_length) >= 0) {
            return;
        }
    }
    std::printf("%s send error\n", "servMessageDispatcher");
}

// ---- start

/// Makes the server's socket. Returns it, or -1 after printing what failed.
int open_socket() {
    unique_fd fd(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    if (!fd.valid()) {
        std::printf("open socket fail!\n");
        return -1;
    }
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::snprintf(address.sun_path, sizeof address.sun_path, "%s", k_csh_server_path);
    ignore_result(::unlink(k_csh_server_path)); // there may be none
    if (::bind(fd.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address) < 0) {
        std::perror("bind socket fail!\n");
        return -1;
    }
    socklen_t length = sizeof address;
    if (::getsockname(fd.get(), reinterpret_cast<sockaddr *>(&address), &length) < 0) {
        std::printf("skfd %d errno %d %s\n", fd.get(), errno, std::strerror(errno));
    }
    return fd.release();
}

void make_channel() {
    if (evtChanInit() != 0) {
        std::printf("evtChanInit fail\n");
    }
    s_socket = open_socket();
    if (s_socket < 0) {
        std::printf("chan create fail\n");
    } else if (evtChanAdd(s_socket, servMessageDispatcher) != 0) {
        std::printf("evtChanAdd fail\n");
    }
}

/// The start-up's own steps, or their defaults.
void call(void (*step)()) {
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
        call(startup.apply_static_address);
    } else if (::access(k_dhcp_pid_file, F_OK) == 0) {
        run_command(startup, "kill -SIGUSR1 `cat /var/run/udhcpc.pid`");
    } else {
        std::printf("udhcpc renew fail\n");
    }
}

} // namespace

void csh_set_services(const csh_services &services) { s_services = services; }

void servMessageDispatcher(int fd) {
    csh_message message{};
    sockaddr_un client{};
    socklen_t client_length = sizeof client;
    // The real length is told of a longer datagram, too.
    const ssize_t length = ::recvfrom(fd, &message, sizeof message, MSG_DONTWAIT | MSG_TRUNC,
                                      reinterpret_cast<sockaddr *>(&client), &client_length);
    if (length != static_cast<ssize_t>(sizeof message)) {
        std::printf("recv size wrong %d %d\n", static_cast<int>(length), static_cast<int>(sizeof message));
    }
    if (length < 0) {
        return; // nothing came, and there is nobody to answer
    }
    process(&message);
    reply(fd, message, client, client_length);
}

void csh_server_start(const csh_startup &startup) {
    s_busy = false;
    csh_set_services(startup.services);
    csh_output_serve();
    csh_output_set_client(0);
    make_channel();
    call(startup.init_modules);
    csh_output_remove(); // what the last start's replay printed
    // A missing file is a switch as it left the factory.
    if (cli_load_config(k_saved_config) == k_cli_load_failed_lines) {
        std::printf("%s: not all lines could be run; the system log says which\n", k_saved_config);
    }
    call(startup.init_services);
    if (!startup.skip_interface) {
        restart_interface(startup);
        apply_address(startup);
    }
    while (startup.ready != nullptr && !startup.ready()) {
        wait_seconds(startup, 1);
    }
    for (;;) {
        evtChanWait();
    }
}
