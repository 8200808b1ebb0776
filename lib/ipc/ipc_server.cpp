#include "lib/ipc/ipc_server.h"

#include "lib/base/io.h"
#include "lib/base/local_socket.h"
#include "lib/base/log.h"
#include "lib/base/unique_fd.h"
#include "lib/ipc/ipc_api.h"
#include "lib/ipc/ipc_pending.h"
#include "lib/ipc/ipc_privs.h"
#include "lib/ipc/ipc_settings.h"

#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstring>
#include <fcntl.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace {

constexpr int k_backlog = 7;
constexpr int32_t k_ready_ms = 150;
constexpr int32_t k_accept_pause_ms = 150;
constexpr useconds_t k_loop_pause_us = 150000;

ipc_server make_server(const char *path) {
    return {path,    false,   nullptr, {}, nullptr, -1, -1, -1, {}, PTHREAD_MUTEX_INITIALIZER,
            nullptr, nullptr, {},      0};
}

ipc_server s_management = make_server(k_ipc_serv_path);
ipc_server s_web = make_server(k_ipc_web_path);

pthread_once_t s_shared_once = PTHREAD_ONCE_INIT;

// The start call waits here until the server's thread has run its loop for 150 ms.
pthread_mutex_t s_start_mutex = PTHREAD_MUTEX_INITIALIZER;
pthread_cond_t s_start_changed = PTHREAD_COND_INITIALIZER;
bool s_start_held = false; // guarded by s_start_mutex

thread_local bool t_on_server_thread = false;

void init_shared() {
    iprivs_init(ipc_get_settings().privs);
    ipc_gate_init();
    ipc_pending_init();
    std::signal(SIGPIPE, SIG_IGN); // a client that is gone shows as a failed write
}

void hold_start() {
    pthread_mutex_lock(&s_start_mutex);
    s_start_held = true;
    pthread_mutex_unlock(&s_start_mutex);
}

void await_start() {
    pthread_mutex_lock(&s_start_mutex);
    while (s_start_held) {
        pthread_cond_wait(&s_start_changed, &s_start_mutex);
    }
    pthread_mutex_unlock(&s_start_mutex);
}

int ipc_client_accept_work_around(thread * /*task*/) {
    pthread_mutex_lock(&s_start_mutex);
    s_start_held = false;
    pthread_cond_broadcast(&s_start_changed);
    pthread_mutex_unlock(&s_start_mutex);
    return 0;
}

int open_spare() { return ::open("/dev/null", O_RDONLY | O_CLOEXEC); }

/// Without descriptors the listening socket would stay readable for ever: the peer is let in and turned away.
/// Returns whether one was.
bool turn_away(ipc_server &server) {
    if (server.spare_fd < 0) {
        return false;
    }
    ::close(server.spare_fd);
    const int fd = ::accept(server.listen_fd, nullptr, nullptr);
    if (fd >= 0) {
        ::close(fd);
    }
    server.spare_fd = open_spare();
    return fd >= 0;
}

int proto_ipc_accept(thread *task);
int accept_after_pause(thread *task);

void pause_accepting(ipc_server &server) {
    thread_add_timer_msec(server.master, accept_after_pause, &server, k_accept_pause_ms);
}

void accept_on(ipc_server &server) {
    server.accept_task = thread_add_read(server.master, proto_ipc_accept, &server, server.listen_fd);
    if (server.accept_task == nullptr) {
        pause_accepting(server);
    }
}

int accept_after_pause(thread *task) {
    accept_on(*static_cast<ipc_server *>(task->arg));
    return 0;
}

/// Leaves the peers that wait alone for a moment, when nothing can be done for them.
void stop_accepting(ipc_server &server) {
    if (server.accept_task != nullptr) {
        thread_cancel(server.accept_task);
        server.accept_task = nullptr;
        pause_accepting(server);
    }
}

void accept_failed(ipc_server &server, int error) {
    if (ipc_logs_detailed()) {
        ipc_log_warn("Can't accept proto_ipc socket: %s", safe_strerror(error));
    }
    const bool passing = error == EAGAIN || error == EINTR;
    const bool no_descriptor = error == EMFILE || error == ENFILE;
    if (!passing && !(no_descriptor && turn_away(server))) {
        stop_accepting(server); // it may fail again at once, and the socket stays readable
    }
}

bool is_full(const ipc_server &server) {
    const uint32_t most = ipc_get_settings().clients;
    if (server.clients.count < most) {
        return false;
    }
    if (ipc_logs()) {
        ipc_log_warn("Can't serve proto_ipc socket: there are %u clients", most);
    }
    return true;
}

int proto_ipc_accept(thread *task) {
    auto &server = *static_cast<ipc_server *>(task->arg);
    accept_on(server);
    sockaddr_un peer = {};
    socklen_t size = sizeof peer;
    unique_fd accepted(::accept4(server.listen_fd, reinterpret_cast<sockaddr *>(&peer), &size, SOCK_CLOEXEC));
    if (!accepted.valid()) {
        accept_failed(server, errno);
        return -1;
    }
    if (server.spare_fd < 0) {
        server.spare_fd = open_spare();
    }
    if (is_full(server) || accepted.get() >= k_thread_descriptors ||
        fd_set_nonblocking(accepted.get()) != 0) {
        return -1;
    }
    ipc_client_add(server, accepted.release());
    return 0;
}

void warn_step(const char *what) {
    const int error = errno;
    if (ipc_logs_detailed()) {
        ipc_log_warn("Can't %s stream socket: %s", what, safe_strerror(error));
        ipc_log_warn("proto_ipc can't provice full functionality due to above error");
    }
}

/// A socket bound to the path, or -1 after logging why there is none.
int open_bound(const char *path) {
    unique_fd bound(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (!bound.valid()) {
        warn_step("create proto_ipc_serv");
        return -1;
    }
    if (local_bind(bound.get(), path, ipc_get_settings().socket_group) != 0) {
        warn_step("bind to");
        return -1;
    }
    return bound.release();
}

/// The listening socket of a server, or -1 after logging why there is none.
int open_listener(const char *path) {
    if (iprivs_change(k_ipc_privs_raise) != 0) {
        if (ipc_logs_detailed()) {
            ipc_log_err("Unable to raise previleges on unix socket binding.. ");
        }
        return -1;
    }
    unique_fd listener(open_bound(path));
    const int32_t lowered = iprivs_change(k_ipc_privs_lower);
    if (!listener.valid()) {
        return -1;
    }
    if (lowered != 0) {
        if (ipc_logs_detailed()) {
            ipc_log_err("Unable to make previleges low on unix socket binding.. ");
        }
        listener.release(); // stays open: whoever looks for the server still finds somebody bound
        return -1;
    }
    if (::listen(listener.get(), k_backlog) != 0) {
        warn_step("listen to");
        return -1;
    }
    return listener.release();
}

void close_all(ipc_server &server) {
    for (int *fd : {&server.listen_fd, &server.spare_fd, &server.wake_fd}) {
        if (*fd >= 0) {
            ::close(*fd);
            *fd = -1;
        }
    }
}

int32_t create_socket(ipc_server &server) {
    server.listen_fd = open_listener(server.path);
    if (server.listen_fd < 0) {
        return -1;
    }
    server.spare_fd = open_spare();
    server.wake_fd = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    accept_on(server);
    const bool tasks_added =
        server.wake_fd >= 0 && server.accept_task != nullptr &&
        thread_add_read(server.master, ipc_take_messages, &server, server.wake_fd) != nullptr &&
        thread_add_timer_msec(server.master, ipc_client_accept_work_around, nullptr, k_ready_ms) != nullptr;
    return tasks_added ? 0 : -1;
}

void *run_loop(void *argument) {
    auto *server = static_cast<ipc_server *>(argument);
    t_on_server_thread = true;
    ipc_log_for_clients();
    ipc_server_runs(server, server == &s_management); // before any client is heard
    thread task;
    for (;;) {
        while (thread_fetch_next(server->master, &task) != nullptr) {
            thread_invoke(&task);
        }
        // select has failed, and the log says so. Clients and requests would wait for a thread that has
        // ended.
        ::usleep(k_loop_pause_us);
    }
    return nullptr;
}

int32_t start(ipc_server &server) {
    if (server.started) {
        return 0;
    }
    server.started = true;
    server.master = scheduler_master_create();
    if (server.master == nullptr) {
        return -1;
    }
    pthread_once(&s_shared_once, init_shared);
    hold_start();
    if (create_socket(server) != 0) {
        close_all(server);
        return -1;
    }
    if (pthread_create(&server.thread_id, nullptr, run_loop, &server) != 0) {
        if (ipc_logs_detailed()) {
            ipc_log_err("Failure: protocol IPC thread creation error. ");
        }
        close_all(server);
        return -1;
    }
    await_start();
    return 0;
}

} // namespace

bool ipc_logs() { return ipc_get_settings().log_general; }

bool ipc_logs_detailed() { return ipc_logs() && ipc_get_settings().log_detailed; }

bool ipc_on_server_thread() { return t_on_server_thread; }

int32_t ipc_serv_start() { return start(s_management); }

int32_t ipc_web_start() { return start(s_web); }
