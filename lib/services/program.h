#pragma once

#include <cstdint>
#include <string>
#include <sys/types.h>
#include <vector>

// Child processes, never through a shell: what users type stays one argument each.

/// A program that runs: the reading end of its output and its complaints, which does not block, and its
/// process, the leader of a group of its own. Both are the caller's to close and to wait for.
struct program {
    pid_t process = -1;
    int output = -1;
};

/// Starts a program by its name, found in "/usr/sbin:/usr/bin:/sbin:/bin", with an empty standard input, no
/// other descriptor, no signal blocked or ignored, and no variable but PATH and LC_ALL=C. Returns 0, or the
/// number of the error.
[[nodiscard]] int program_start(const std::vector<std::string> &arguments, program *started);

/// The path of a program, "" when there is none.
[[nodiscard]] std::string program_path(const std::string &name);

/// Whether there is such a program.
[[nodiscard]] bool program_exists(const char *name);

/// Runs a program to its end, whatever it leaves running. That is waited for `seconds` at most; then it is
/// killed. Returns its exit status, 128 + the signal that ended it, or -1 when it could not be started or
/// took too long. What it printed goes to `printed`, 64 KiB at most.
[[nodiscard]] int program_run(const std::vector<std::string> &arguments, int32_t seconds,
                              std::string *printed);

/// Waits for a program's end, and returns its status as above.
int program_wait(pid_t process);
