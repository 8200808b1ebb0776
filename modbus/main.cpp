// The daemon: brings up the stack and keeps a poll thread running.

#include "lib/base/log.h"
#include "lib/base/mbap.h"
#include "lib/base/result.h"
#include "lib/base/standard_streams.h"
#include "lib/sasi/sasi.h"
#include "modbus/mb.h"
#include "modbus/mbcounters.h"
#include "modbus/mbident.h"
#include "modbus/poll_thread.h"

#include <csignal>
#include <syslog.h>

int main() {
    hold_standard_streams();       // or a client's socket becomes one, and is sent what is printed there
    std::signal(SIGCHLD, SIG_DFL); // ignored, as it may be inherited, it hides which children have ended
    if (mb_tcp_init(k_modbus_port) != k_mb_ok) {
        return 1;
    }
    ipc_log_open_as("modbusd", LOG_PID, LOG_DAEMON);
    ignore_result(mb_counters_share()); // or it serves without being watched
    // What it could not get it has reported; the registers then read as zeros.
    ignore_result(mb_init());
    set_run_state(k_run_idle);
    supervise_poll_thread();
    sasiClose();
    mb_close();
    return 0;
}
