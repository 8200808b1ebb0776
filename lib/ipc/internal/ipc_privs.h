#pragma once

#include "lib/ipc/ipc_settings.h"

#include <cstdint>

enum ipc_privs_operation : int32_t { k_ipc_privs_raise = 0, k_ipc_privs_lower = 1 };
enum ipc_privs_state : int32_t { k_ipc_privs_lowered = 0, k_ipc_privs_raised = 1 };

/// Takes on the user and the groups of `settings`; the effective user from before is kept for raising. Null
/// settings, names that cannot be looked up and ids that cannot be set are printed on standard error and end
/// the process with status 1.
void iprivs_init(const ipc_privs_settings *settings);

/// Raises the effective user to the saved one, or lowers it to the configured one. Returns 0, or -1 when it
/// could not and for any other operation. Without user, group and capabilities it does nothing and returns 0.
[[nodiscard]] int32_t iprivs_change(int32_t operation);

/// Whether the effective user is another than the configured one.
ipc_privs_state iprivs_current();
