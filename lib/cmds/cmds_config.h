#pragma once

#include "lib/cmds/cmds_family.h"
#include "lib/config/config_store.h"

#include <string>
#include <string_view>
#include <vector>

// The commands' way into the configuration.

constexpr const char *k_cmds_saved_config = "/var/config/zopsh_config.save";

constexpr const char *k_cmds_full = "The configuration is full";
constexpr const char *k_cmds_not_saved = "This cannot stand in a saved configuration";

constexpr int32_t k_cmds_failed = -2; // the result of a handler that has told why it could not do its work

/// The configuration that commands change: the running one, but while another one is being read.
config_store &cmds_store();

/// Replays a saved configuration into `store`, of which nothing is carried out; for looking at it. Result and
/// `failed`, which is called with the number of each line that failed, as cli_load_config has them.
int32_t cmds_read_config(const char *path, config_store &store, void (*failed)(int32_t line));

/// Whether commands only record, because of that.
bool cmds_only_records();

/// The arguments of a line in the form in which they are kept.
struct cmds_kept {
    std::string key;                    // of a setting
    std::string value;                  // what follows the key
    std::string line;                   // the whole line as it is shown and replayed
    uint32_t secret;                    // bit p: word p of the line is for administrators alone
    std::vector<std::string> arguments; // what follows the row's keywords, a word each
};

/// Keeps the arguments of a line of this row, or says what is wrong with them. Returns 0 or a handler's
/// result.
int32_t cmds_keep_line(const cmds_row &row, int32_t argc, const char *const *argv, cmds_kept *kept);

/// The contexts of the configuration that the session's commands are about; none, after telling the user,
/// when what the session was in has gone, or there is no room for one.
std::vector<config_context> cmds_contexts();

/// Makes these VLANs, a list in the form in which it is kept, what the session's commands are about; VLANs
/// that are not there are made. Returns false when there was no room for all.
[[nodiscard]] bool cmds_choose_vlans(const std::string &list);

/// Puts the setting of the line that is being run into the configuration, for handlers that do more than
/// that. Result as a handler's.
int32_t cmds_record(int32_t argc, const char *const *argv);

/// Why the line that has just failed did, in words that hold none of its own. Asked once a line: the next one
/// may fail without a reason.
[[nodiscard]] const char *cmds_take_refusal();

/// "%% ", the reason and a line feed for the user, and the result of a handler: of one that does not take a
/// value, whose word clients point at, and of one that could not do its work.
int32_t cmds_refuse(const char *reason);
int32_t cmds_fail(const char *reason);

/// As cmds_fail, with a service's reason, which may hold words of the user's.
int32_t cmds_fail_by_service(const std::string &reason);
