#pragma once

#include <string>

// Where the control program finds things.

/// The state file: `option` when it is not null, else SWITCHSIM_STATE, else "state" in the folder
/// "/tmp/switchsim-UID".
std::string sim_where_state(const char *option);

/// Makes the folder of the state file when it is the one in /tmp, and checks that it is this user's alone.
/// Returns false and says why in `error`.
[[nodiscard]] bool sim_where_make_folder(const std::string &state_path, std::string &error);

/// Removes that folder again, when it is empty.
void sim_where_remove_folder(const std::string &state_path);

/// The preloaded library: `option` when it is not null, else beside this program ("../lib" of its folder),
/// else where it is installed. Returns false and says in `error` where it looked when there is none.
[[nodiscard]] bool sim_where_library(const char *option, std::string &library, std::string &error);
