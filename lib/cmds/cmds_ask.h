#pragma once

#include "lib/cmds/cmds_family.h"

#include <cstdint>

// Commands that ask a person before they do what cannot be taken back. An answer belongs to the question
// whose number its session has; a session that was made up gets no further by it than by typing the command.

/// Asks the question of a row, which takes no arguments: its own handler is called when the answer is yes.
/// Where no person is there to answer, it is refused. Result as a handler's.
int32_t cmds_ask(const cmds_row &row);

/// Takes the answers from now on.
void cmds_take_answers();
