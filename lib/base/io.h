#pragma once

#include <cstddef>
#include <sys/types.h>

// Whole transfers over a blocking descriptor, and making one that does not block.

/// Reads until `n` bytes have arrived or the input ends. Returns the bytes read, fewer than `n` only at end
/// of file. A failing read, an interrupted one included, returns its negative result at once with errno set;
/// bytes read before it are in `buf`, but not counted.
ssize_t read_full(int fd, void *buf, size_t n);

/// Writes until all `n` bytes are written and returns `n`. A write result of 0 or less, an interrupted call
/// included, is returned at once with its errno; how much was written before it is not told.
ssize_t write_full(int fd, const void *buf, size_t n);

/// Makes `fd` non-blocking. Returns 0, or -1 with a warning in the log.
[[nodiscard]] int fd_set_nonblocking(int fd);
