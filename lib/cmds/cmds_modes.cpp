#include "lib/cmds/cmds_modes.h"

#include "lib/base/invariant.h"

#include <algorithm>

const cmds_mode *cmds_find_mode(int32_t mode_id) {
    const auto *const found = std::find_if(std::begin(k_cmds_modes), std::end(k_cmds_modes),
                                           [=](const cmds_mode &mode) { return mode.id == mode_id; });
    return found != std::end(k_cmds_modes) ? found : nullptr;
}

cli_session cmds_session_in(int32_t mode_id, bool user_only) {
    INVARIANT(cmds_find_mode(mode_id) != nullptr);
    cli_session session = {};
    session.mode_id = mode_id;
    session.mode_mask = user_only ? k_mask_user : k_cli_mask_config | cmds_find_mode(mode_id)->unlocks;
    return session;
}
