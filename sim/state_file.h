#pragma once

#include "sim/state.h"

// The file that holds a simulated switch. Whoever made it keeps a lock on it that the kernel drops when the
// maker ends, however it ends: the switch lives as long as the lock does. A killed writer leaves nothing
// behind that another would wait for.

enum class sim_file_result : uint8_t {
    ok,
    missing,     // no such file
    not_private, // not a regular file of this user, or others may write it
    not_a_state, // no simulated switch, or one of another version
    not_live,    // its maker has ended
    in_use,      // another maker's switch lives there
    failed,      // a system call failed, errno says why
};

/// What a result says to a person, for "PATH: %s". `failed` gives errno's text.
const char *sim_file_text(sim_file_result result);

/// A mapped state. `lock_fd` is -1 but for the maker, whose switch ends when it is closed.
struct sim_file {
    sim_state *state;
    int lock_fd;
};

/// Makes a switch at `path` (as sim_state_reset leaves it), in place of one whose maker has ended. The folder
/// must exist. On success the caller owns `file`, to be ended by sim_file_remove.
[[nodiscard]] sim_file_result sim_file_create(const char *path, sim_file &file);

/// Maps the live switch at `path`, to read and to write.
[[nodiscard]] sim_file_result sim_file_open(const char *path, sim_file &file);

/// Unmaps what sim_file_open mapped.
void sim_file_close(sim_file &file);

/// Removes the switch that sim_file_create made at `path`.
void sim_file_remove(const char *path, sim_file &file);
