#include "lib/ipc/internal/ipc_accept.h"

#include "lib/base/io.h"
#include "lib/base/local_socket.h"
#include "lib/base/log.h"
#include "lib/base/unique_fd.h"
#include "lib/ipc/internal/ipc_client.h"
#include "lib/ipc/internal/ipc_privs.h"
#include "lib/ipc/internal/ipc_server.h"
#include "lib/ipc/ipc_settings.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/socket.h>
#include <sys/un.h>

namespace {

constexpr int k_backlog = 7;
constexpr int32_t k_accept_pause_ms = 150;

/// Without descriptors the listening socket would stay readable for ever: the peer is let in and turned away.
/// Returns whether one was.
bool turn_away(ipc_server &server) {
    if (server.spare_fd < 0) {
        return false;
    }
    ::close(server.spare_fd);
    const bool accepted = unique_fd(::accept(server.listen_fd, nullptr, nullptr)).valid();
    server.spare_fd = ipc_open_spare();
    return accepted;
}

int accept_after_pause(thread *task) {
    ipc_accept_on(*static_cast<ipc_server *>(task->arg));
    return 0;
}

void pause_accepting(ipc_server &server) {
    thread_add_timer_msec(server.master, accept_after_pause, &server, k_accept_pause_ms);
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
    ipc_accept_on(server);
    sockaddr_un peer = {};
    socklen_t size = sizeof peer;
    unique_fd accepted(::accept4(server.listen_fd, reinterpret_cast<sockaddr *>(&peer), &size, SOCK_CLOEXEC));
    if (!accepted.valid()) {
        accept_failed(server, errno);
        return -1;
    }
    if (server.spare_fd < 0) {
        server.spare_fd = ipc_open_spare();
    }
    if (!is_full(server) && fd_set_nonblocking(accepted.get()) == 0) {
        ipc_client_add(server, accepted.release());
    }
    return 0;
}

void warn_step(const char *what) {
    const int error = errno;
    if (ipc_logs_detailed()) {
        ipc_log_warn("Can't %s stream socket: %s", what, safe_strerror(error));
        ipc_log_warn("proto_ipc can't provice full functionality due to above error");
    }
}

/// A socket bound to the path, or none after logging why.
unique_fd open_bound(const char *path) {
    unique_fd bound(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (!bound.valid()) {
        warn_step("create proto_ipc_serv");
    } else if (local_bind(bound.get(), path, ipc_get_settings().socket_group) != 0) {
        warn_step("bind to");
        bound.reset();
    }
    return bound;
}

} // namespace

int ipc_open_listener(const char *path) {
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

int ipc_open_spare() { return ::open("/dev/null", O_RDONLY | O_CLOEXEC); }

bool ipc_accept_on(ipc_server &server) {
    server.accept_task = thread_add_read(server.master, proto_ipc_accept, &server, server.listen_fd);
    if (server.accept_task == nullptr) {
        pause_accepting(server);
    }
    return server.accept_task != nullptr;
}
