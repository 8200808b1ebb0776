#pragma once

#include "sim/state.h"

// The preloaded library's hold on the simulated switch that SWITCHSIM_STATE names.

/// The switch that the environment names now, mapped at the first call and kept from then on; a change of the
/// name is noticed. When there is none, says why in one line on standard error and ends the process with
/// status 1.
sim_state &sim_attach();

/// The same, but null when there is none.
sim_state *sim_attach_quietly();

/// The switch as last attached to, without a look at the environment; null before the first.
sim_state *sim_attached();
