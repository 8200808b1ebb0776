#include "lib/cmds/cmds_password.h"

#include "lib/base/retry.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <memory>
#include <sys/random.h>
#if ZOP_HAS_LIBCRYPT
#include <crypt.h>
#endif

namespace {

constexpr std::string_view k_prefix = "$5$";
constexpr size_t k_salt_max = 16;
constexpr size_t k_hash_size = 43; // 32 bytes, 6 bits a character
constexpr std::string_view k_alphabet = "./0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";

bool is_in_alphabet(std::string_view text) {
    return text.find_first_not_of(k_alphabet) == std::string_view::npos;
}

} // namespace

bool cmds_is_password_hash(std::string_view text) {
    if (!text.starts_with(k_prefix)) {
        return false;
    }
    text.remove_prefix(k_prefix.size());
    const std::string_view salt = text.substr(0, text.find('$'));
    const std::string_view hash = text.substr(std::min(salt.size() + 1, text.size()));
    return !salt.empty() && salt.size() <= k_salt_max && is_in_alphabet(salt) && hash.size() == k_hash_size &&
           is_in_alphabet(hash);
}

std::string cmds_hash_password([[maybe_unused]] const std::string &password) {
#if ZOP_HAS_LIBCRYPT
    std::array<uint8_t, k_salt_max> random{};
    if (retry_interrupted([&] { return ::getrandom(random.data(), random.size(), 0); }) !=
        static_cast<ssize_t>(random.size())) {
        return "";
    }
    std::string setting(k_prefix);
    std::transform(random.begin(), random.end(), std::back_inserter(setting),
                   [](uint8_t byte) { return k_alphabet[byte % k_alphabet.size()]; });
    static_assert(k_alphabet.size() == 64, "every character is as likely as the others");
    const auto work = std::make_unique<crypt_data>(); // 32 KiB
    // Not crypt_r, which the sanitizers' own one would take the place of, and the library would not be
    // linked.
    const char *const hash = ::crypt_rn(password.c_str(), setting.c_str(), work.get(), sizeof *work);
    std::string made = hash != nullptr && cmds_is_password_hash(hash) ? hash : "";
    ::explicit_bzero(work.get(), sizeof *work);
    return made;
#else
    return "";
#endif
}

size_t cmds_password_length(std::string_view password) {
    return static_cast<size_t>(std::count_if(
        password.begin(), password.end(), [](char c) { return (static_cast<uint8_t>(c) & 0xC0) != 0x80; }));
}
