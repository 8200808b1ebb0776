#pragma once

#include <string>
#include <string_view>

// Passwords as the configuration keeps them: salted SHA-256 hashes of crypt(3), "$5$SALT$HASH".

/// Whether a text is such a hash, with the usual number of rounds.
[[nodiscard]] bool cmds_is_password_hash(std::string_view text);

/// Makes the hash of a password, with a salt of its own. "" when this machine has no random numbers or was
/// built without crypt(3).
[[nodiscard]] std::string cmds_hash_password(const std::string &password);

/// Characters of a password: UTF-8, without its continuation bytes.
[[nodiscard]] size_t cmds_password_length(std::string_view password);
