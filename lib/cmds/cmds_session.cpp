#include "lib/cmds/cmds_session.h"

#include "lib/base/invariant.h"
#include "lib/base/switch_ports.h"
#include "lib/cli/cli_parser.h"
#include "lib/cli/screen_length.h"

namespace {

// Places of the session's values.
constexpr size_t k_place_ports = 0;
constexpr size_t k_place_context = 1;
constexpr size_t k_place_client = 2; // how the client wants to be treated

constexpr uint32_t k_screen_length_bits = 0x7FFF; // 0: the session has none of its own
constexpr uint32_t k_json_bit = 0x10000;
constexpr uint32_t k_person_bit = 0x20000;
constexpr uint32_t k_question_shift = 18;
constexpr uint32_t k_question_bits = k_cmds_questions_max << k_question_shift;
static_assert(k_screen_length_max <= k_screen_length_bits);

constexpr uint32_t k_all_ports = ((1U << k_switch_ports) - 1) << 1;

uint32_t client_bits() {
    constexpr uint32_t k_all = k_screen_length_bits | k_json_bit | k_person_bit | k_question_bits;
    return cli_session_bits(k_place_client, k_all).value_or(0);
}

void replace_client_bits(uint32_t which, uint32_t value) {
    cli_session_set(k_place_client, static_cast<int32_t>((client_bits() & ~which) | value));
}

} // namespace

const cmds_mode &cmds_current_mode() {
    const cmds_mode *const mode = cmds_find_mode(cli_session_mode());
    return mode != nullptr ? *mode : k_cmds_modes[0];
}

void cmds_enter_mode(int32_t mode_id) {
    const cmds_mode *const next = cmds_find_mode(mode_id);
    INVARIANT(next != nullptr);
    cli_session_enter(mode_id, (cli_session_mask() & ~cmds_current_mode().unlocks) | next->unlocks);
}

bool cmds_is_administrator() { return (cli_session_mask() & k_mask_config) != 0; }

std::optional<uint32_t> cmds_ports() { return cli_session_bits(k_place_ports, k_all_ports); }
void cmds_set_ports(uint32_t ports) { cli_session_set(k_place_ports, static_cast<int32_t>(ports)); }

std::optional<config_context> cmds_context() { return cli_session_number(k_place_context, 1, INT32_MAX); }
void cmds_set_context(config_context context) { cli_session_set(k_place_context, context); }

int32_t cmds_screen_length(const cli_session &session) {
    const auto length =
        static_cast<int32_t>(static_cast<uint32_t>(session.values[k_place_client]) & k_screen_length_bits);
    return length >= k_screen_length_min && length <= k_screen_length_max ? length : screen_length();
}

void cmds_set_screen_length(int32_t length) {
    replace_client_bits(k_screen_length_bits, static_cast<uint32_t>(length));
}

bool cmds_wants_json() { return (client_bits() & k_json_bit) != 0; }
bool cmds_can_ask() { return (client_bits() & k_person_bit) != 0; }

uint32_t cmds_question() { return (client_bits() & k_question_bits) >> k_question_shift; }
void cmds_set_question(uint32_t number) { replace_client_bits(k_question_bits, number << k_question_shift); }

cli_session cmds_with_json(cli_session session) {
    session.values[k_place_client] |= static_cast<int32_t>(k_json_bit);
    return session;
}

cli_session cmds_with_person(cli_session session) {
    session.values[k_place_client] |= static_cast<int32_t>(k_person_bit);
    return session;
}
