#pragma once

#include "lib/config/config_store.h"

#include <string>

// A configuration as text, which the shell's parser can replay, and as a file.

/// The lines of the whole configuration, passwords and all.
[[nodiscard]] std::string config_text(const config_store &store);

/// Saves the configuration in a file that only its owner reads, whole or not at all, also when the power
/// fails meanwhile. Returns false with errno set; the file is then as it was.
[[nodiscard]] bool config_save(const config_store &store, const char *path);
