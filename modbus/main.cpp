#include "lib/base/result.h"
#include "lib/sasi/sasi.h"
#include "modbus/mb.h"
#include "modbus/mbident.h"
#include "modbus/startup.h"

namespace {
constexpr uint16_t k_port = 502;
}

int main() {
    if (mb_tcp_init(k_port) != k_mb_ok) {
        return 1;
    }
    // What it could not get it has reported; the registers then read as zeros.
    ignore_result(mb_init());
    set_run_state(k_run_idle);
    supervise_poll_thread();
    sasiClose();
    mb_close();
    return 0;
}
