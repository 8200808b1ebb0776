#include "lib/ipc/ipc_settings.h"

namespace {
const ipc_privs_settings s_no_privs = {nullptr, nullptr, nullptr, 0};
ipc_settings s_settings = {true, true, false, 0, &s_no_privs, nullptr, 8U << 20, 32U << 20, 64};
} // namespace

ipc_settings &ipc_get_settings() { return s_settings; }
