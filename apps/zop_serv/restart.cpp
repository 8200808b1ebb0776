#include "apps/zop_serv/restart.h"

#include "apps/zop_serv/console.h"
#include "lib/base/local_socket.h"
#include "lib/base/result.h"
#include "lib/cli/csh_server.h"
#include "lib/cmds/cmds_jobs.h"
#include "lib/services/restart.h"
#include "lib/services/services.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <unistd.h>

namespace {

constexpr int k_status_failed = 1;

/// Nothing of this start is left but the process and its standard streams: all other descriptors are closed
/// by the kernel, and threads end.
[[noreturn]] void start_anew(char **arguments) {
    std::printf("zop_serv: starts anew\n");
    std::fflush(stdout);
    cmds_jobs_finish();
    local_remove_bound();
    console_settle();
    console_end();
    sigset_t none;
    sigemptyset(&none);
    pthread_sigmask(SIG_SETMASK, &none, nullptr);
    ::execv("/proc/self/exe", arguments);
    std::fprintf(stderr, "zop_serv: cannot start anew: %s\n", std::strerror(errno));
    ::_exit(k_status_failed);
}

} // namespace

void restart_if_asked(char **arguments) {
    if (!restart_take()) {
        return;
    }
    if (services_are_on_desk()) {
        start_anew(arguments);
    }
    if (!restart_machine()) {
        csh_set_free();
    }
}
