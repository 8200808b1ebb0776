#pragma once

#include "lib/cmds/cmds_modes.h"
#include "lib/config/config_store.h"

#include <cstdint>
#include <optional>

// What the handlers of commands know of the session of the line that is being run. It came from a client, so
// that each value may be missing.

/// The mode of the session; exec when it is in none that there is.
const cmds_mode &cmds_current_mode();

/// Moves the session to a mode, one of the table. What it may type stays as it is, but for what a mode
/// unlocks.
void cmds_enter_mode(int32_t mode_id);

/// Whether the session is an administrator's.
bool cmds_is_administrator();

/// Modes about ports: those of the session, bit p for port p; at least one.
std::optional<uint32_t> cmds_ports();
void cmds_set_ports(uint32_t ports);

/// Modes about a context of the configuration: its number, which may be anything above 0. Of the mode about a
/// list of VLANs: that of the list.
std::optional<config_context> cmds_context();
void cmds_set_context(config_context context);

/// The lines of a screen in a session: its own, or else those that are stored for all. For clients.
int32_t cmds_screen_length(const cli_session &session);
void cmds_set_screen_length(int32_t length);

/// How a client wants to be treated: shows as JSON, and questions put, since a person is there to answer.
bool cmds_wants_json();
bool cmds_can_ask();

/// The question that the next line is to answer, a number from 1 to k_cmds_questions_max; 0: none. It stands
/// in the session, so that sessions that are asked at the same time cannot answer each other's.
constexpr uint32_t k_cmds_questions_max = 63;
uint32_t cmds_question();
void cmds_set_question(uint32_t number);

/// Sessions of clients that want to be treated so.
cli_session cmds_with_json(cli_session session);
cli_session cmds_with_person(cli_session session);
