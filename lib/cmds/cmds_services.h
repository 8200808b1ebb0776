#pragma once

#include "lib/cmds/cmds_config.h"
#include "lib/services/service.h"

// The commands' way to the services that carry them out.

/// What a service made of a setting.
enum class cmds_carried : uint8_t {
    out,       // it is so now
    only_kept, // nothing here carries it out, or nothing is to
    refused,   // which the user has been told
};

/// Has a setting made so in each of its contexts (`on`), or taken back. Of several contexts all or none.
/// `words` are the setting's keywords; `rank` is where it stands in the configuration, which is changed
/// afterwards.
[[nodiscard]] cmds_carried cmds_carry_out(bool on, std::string_view words, const cmds_kept &kept,
                                          uint32_t rank, const std::vector<config_context> &contexts);

/// Shows a state, or does something once. The result is a handler's.
int32_t cmds_show(const cmds_row &row, const cmds_kept &kept);
int32_t cmds_act(const cmds_row &row, const cmds_kept &kept);

/// Prints a report in the form that the session wants.
void cmds_print_report(const report &from);

/// Looks which services have come: one that could not be had when this was called before, or has lost its
/// settings since, is given all that go to it. Called about once a second, and once before the saved
/// configuration is replayed.
void cmds_watch_services();
