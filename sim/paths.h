#pragma once

#include <string>

// The paths that the control program works with: the state file and its folder, the preloaded library.

/// The state file: `option` when it is not null, else SWITCHSIM_STATE, else "state" in the folder
/// "/tmp/switchsim-UID".
std::string sim_paths_state(const char *option);

/// Makes the folder of the state file when it is the one in /tmp, and checks that it is this user's alone.
/// Returns false and says why in `error`.
[[nodiscard]] bool sim_paths_make_folder(const std::string &state_path, std::string &error);

/// Removes that folder again, when it is empty.
void sim_paths_remove_folder(const std::string &state_path);

/// The preloaded library: `option` when it is not null, else beside this program ("../lib" of its folder),
/// else where it is installed. Returns false and says in `error` where it looked when there is none.
[[nodiscard]] bool sim_paths_library(const char *option, std::string &library, std::string &error);
