#pragma once

// The way of a command's output to the user who typed it.

/// Appends formatted text to the output file of the client that is being served, when called on the server's
/// thread, and to the file of the calling thread's id on any other. The file is opened for this call alone.
/// Text from outside goes only through "%s". Returns the characters written, or -1 when the file cannot be
/// opened or is not one of ours (a link, a FIFO, a device, a file of neither the client's user nor this one).
[[gnu::format(printf, 1, 2)]] int cli_print(const char *format, ...);
