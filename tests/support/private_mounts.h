#pragma once

#include <initializer_list>

/// Gives this process a mount namespace of its own (in a user namespace of its own when not root) in which
/// the named directories are empty, but for the build's folder where it lies in one, and writable. Returns
/// false when the machine does not allow that.
bool with_empty_directories(std::initializer_list<const char *> directories);
