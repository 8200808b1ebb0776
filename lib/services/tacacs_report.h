#pragma once

#include "lib/services/report.h"
#include "lib/services/tacacs_wire.h"

/// Puts what the TACACS+ daemon tells of itself into words. What it does not tell, or nothing that there is,
/// is not known.
void tacacs_report(const tacacs_state &state, report &to);
