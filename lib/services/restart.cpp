#include "lib/services/restart.h"

#include "lib/base/log.h"
#include "lib/services/program.h"
#include "lib/services/services.h"

#include <utility>

namespace {

constexpr const char *k_program = "reboot";
constexpr int32_t k_patience_s = 10;

bool s_asked = false;

} // namespace

bool restart_is_possible() { return services_are_on_desk() || program_exists(k_program); }
void restart_ask() { s_asked = true; }
bool restart_take() { return std::exchange(s_asked, false); }

bool restart_machine() {
    std::string printed;
    const int status = program_run({k_program}, k_patience_s, &printed);
    if (status != 0) {
        ipc_log_err("%s failed with status %d: %s", k_program, status, printed.c_str());
    }
    return status == 0;
}
