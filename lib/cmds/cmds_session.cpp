#include "lib/cmds/cmds_session.h"

#include "lib/base/invariant.h"
#include "lib/base/switch_ports.h"
#include "lib/cli/cli_parser.h"
#include "lib/cli/screen_length.h"

namespace {

// Places of the session's values.
constexpr size_t k_place_ports = 0;
constexpr size_t k_place_vlan = 1;
constexpr size_t k_place_screen_length = 2; // 0: the session has none of its own

constexpr uint32_t k_all_ports = ((1U << k_switch_ports) - 1) << 1;
constexpr int32_t k_vlan_max = 4094;

} // namespace

const cmds_mode &cmds_current_mode() {
    const cmds_mode *const mode = cmds_find_mode(cli_session_mode());
    return mode != nullptr ? *mode : k_cmds_modes[0];
}

void cmds_enter_mode(int32_t mode_id) {
    const cmds_mode *const mode = cmds_find_mode(mode_id);
    INVARIANT(mode != nullptr);
    cli_session_enter(mode->id, mode->mask);
}

std::optional<uint32_t> cmds_ports() { return cli_session_bits(k_place_ports, k_all_ports); }
void cmds_set_ports(uint32_t ports) { cli_session_set(k_place_ports, static_cast<int32_t>(ports)); }

std::optional<int32_t> cmds_vlan() { return cli_session_number(k_place_vlan, 1, k_vlan_max); }
void cmds_set_vlan(int32_t id) { cli_session_set(k_place_vlan, id); }

int32_t cmds_screen_length(const cli_session &session) {
    const int32_t length = session.values[k_place_screen_length];
    return length >= k_screen_length_min && length <= k_screen_length_max ? length : screen_length();
}
void cmds_set_screen_length(int32_t length) { cli_session_set(k_place_screen_length, length); }
