#pragma once

#include "lib/base/unique_fd.h"

#include <cstddef>
#include <string_view>
#include <sys/types.h>

// Files of fixed names in directories where anybody may put something, "/tmp" and "/var/tmp" above all.

/// A plain file that was opened; `fd` is not valid when there is none.
struct plain_file {
    unique_fd fd;
    uid_t owner = 0;
};

/// Opens what is at `path` if that is a plain file with no second name: no link is followed, and neither a
/// FIFO nor a device is waited for or touched. `flags` and `mode` as open() takes them. Errors: errno is that
/// of open(), or EPERM for something else than a plain file. From any thread, and from a signal handler.
[[nodiscard]] plain_file plain_file_open(const char *path, int flags, mode_t mode = 0);

/// Puts a file of `text` in the place of the one at `path`, whole or not at all, also when the power fails
/// meanwhile: it is written beside it under a name that nobody can guess, with `mode`, and then renamed.
/// Returns false with errno set, and what was at `path` is as it was; only a disk that fails when all is done
/// may have the new one.
[[nodiscard]] bool plain_file_replace(const char *path, std::string_view text, mode_t mode);

/// Removes what plain_file_replace left beside `path` when the power failed in it.
void plain_file_remove_unfinished(const char *path);
