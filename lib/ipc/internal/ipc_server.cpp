#include "lib/ipc/internal/ipc_server.h"

#include "lib/base/log.h"
#include "lib/base/mutex_guard.h"
#include "lib/base/unique_fd.h"
#include "lib/ipc/internal/ipc_accept.h"
#include "lib/ipc/internal/ipc_gate.h"
#include "lib/ipc/internal/ipc_pending.h"
#include "lib/ipc/internal/ipc_privs.h"
#include "lib/ipc/internal/ipc_routes.h"
#include "lib/ipc/ipc_api.h"
#include "lib/ipc/ipc_settings.h"

#include <csignal>
#include <pthread.h>
#include <sys/eventfd.h>
#include <unistd.h>

namespace {

constexpr int32_t k_ready_ms = 150;
constexpr useconds_t k_loop_pause_us = 150000;

ipc_server s_management = {.path = k_ipc_serv_path};
ipc_server s_web = {.path = k_ipc_web_path};

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
    const mutex_guard guard(s_start_mutex);
    s_start_held = true;
}

void await_start() {
    const mutex_guard guard(s_start_mutex);
    while (s_start_held) {
        pthread_cond_wait(&s_start_changed, &s_start_mutex);
    }
}

int ipc_client_accept_work_around(thread * /*task*/) {
    const mutex_guard guard(s_start_mutex);
    s_start_held = false;
    pthread_cond_broadcast(&s_start_changed);
    return 0;
}

bool add_first_tasks(ipc_server &server) {
    return ipc_accept_on(server) &&
           thread_add_read(server.master, ipc_take_messages, &server, server.wake_fd) != nullptr &&
           thread_add_timer_msec(server.master, ipc_client_accept_work_around, nullptr, k_ready_ms) !=
               nullptr;
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

bool start_thread(ipc_server &server) {
    pthread_t id;
    if (pthread_create(&id, nullptr, run_loop, &server) != 0) {
        if (ipc_logs_detailed()) {
            ipc_log_err("Failure: protocol IPC thread creation error. ");
        }
        return false;
    }
    pthread_detach(id); // it lives as long as the process
    return true;
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
    unique_fd listener(ipc_open_listener(server.path));
    unique_fd spare(ipc_open_spare());
    unique_fd wake(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    server.listen_fd = listener.get();
    server.spare_fd = spare.get();
    server.wake_fd = wake.get();
    if (!listener.valid() || !wake.valid() || !add_first_tasks(server) || !start_thread(server)) {
        return -1;
    }
    for (unique_fd *kept : {&listener, &spare, &wake}) {
        kept->release(); // the server's thread has them
    }
    await_start();
    return 0;
}

} // namespace

bool ipc_on_server_thread() { return t_on_server_thread; }

int32_t ipc_serv_start() { return start(s_management); }

int32_t ipc_web_start() { return start(s_web); }
