// The switch's name.

#include "lib/base/take_piece.h"
#include "lib/cmds/cmds_build.h"
#include "lib/cmds/cmds_config.h"

namespace {

bool is_label(std::string_view label) {
    return !label.empty() && label.size() <= 63 && label.front() != '-' && label.back() != '-' &&
           std::all_of(label.begin(), label.end(), [](char c) {
               return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-';
           });
}

/// A host name, RFC 1123: labels with dots between them.
bool is_host_name(std::string_view name) {
    bool good = !name.ends_with('.');
    while (!name.empty()) {
        good = is_label(take_piece(name, '.')) && good;
    }
    return good;
}

const char *check_name(cmds_kept *kept) {
    return is_host_name(kept->value) ? nullptr
                                     : "A name is letters, digits and hyphens, which do not begin or end it";
}

constexpr cmds_word k_words[] = {
    {"hostname", "The switch's name, which stands in front of the prompt."},
    {"STRINGS", "The name, up to 63 letters, digits, hyphens, and dots between them."},
};

constexpr cmds_form k_forms[] = {
    setting(k_config, "hostname STRINGS", "Name the switch.").up_to(63).prepared(check_name),
    undo(k_config, "no hostname", "Use the name again that the switch has by itself."),
};

} // namespace

CMDS_FAMILY(hostname, "hostname", {k_mask_config, 1, 1, 0});
