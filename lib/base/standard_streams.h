#pragma once

// Standard input and output of a program that may be started with them closed, or that writes to a full disk.

/// Takes the descriptors 0 to 2 where the program was started without them, so that no socket becomes one of
/// them. Reading or writing there fails. To be called first.
void hold_standard_streams();

/// Writes out what standard output still holds. Returns `status`; or, when anything could not be written,
/// `failed` after saying so on standard error.
[[nodiscard]] int end_output(const char *program, int status, int failed);
