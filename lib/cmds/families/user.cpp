// Who may log in.

#include "lib/base/take_piece.h"
#include "lib/cmds/cmds_build.h"
#include "lib/cmds/cmds_look.h"
#include "lib/cmds/cmds_password.h"
#include "lib/cmds/cmds_services.h"

namespace {

constexpr int64_t k_shortest_at_first = 8;
constexpr const char *k_last_administrator = "This is the last administrator's account";
constexpr std::string_view k_administrator = "administrator";

struct account {
    std::string name;
    std::string level;
};

std::vector<account> all_accounts() {
    std::vector<account> accounts;
    for (const std::string &line : cmds_look_up_all(cmds_global_section(), "user account")) {
        std::string_view rest = line;
        const std::string name(take_piece(rest));
        take_piece(rest); // "level"
        accounts.push_back({name, std::string(take_piece(rest))});
    }
    return accounts;
}

/// Whether nobody could administer the switch any more without this account.
bool is_last_administrator(const std::string &name) {
    size_t administrators = 0;
    bool is_one = false;
    for (const account &one : all_accounts()) {
        administrators += one.level == k_administrator ? 1 : 0;
        is_one = is_one || (one.name == name && one.level == k_administrator);
    }
    return is_one && administrators == 1;
}

int64_t shortest_password() {
    return cmds_look_up_number(cmds_global_section(), "user password-length", k_shortest_at_first);
}

// Arguments of a line: NAME level LEVEL password PASSWORD.
constexpr size_t k_name = 0;
constexpr size_t k_level = 2;
constexpr size_t k_form = 3;
constexpr size_t k_password = 4;

const char *check_level(const cmds_kept &kept) {
    return kept.arguments[k_level] != k_administrator && is_last_administrator(kept.arguments[k_name])
               ? k_last_administrator
               : nullptr;
}

/// Puts the hash of a typed password in its place. While another configuration is looked at it stays as it
/// is there: each hash is another one.
const char *encrypt(cmds_kept *kept) {
    const std::string &password = kept->arguments[k_password];
    if (cmds_only_records()) {
        return nullptr;
    }
    if (static_cast<int64_t>(cmds_password_length(password)) < shortest_password()) {
        return "This password is too short; see user password-length";
    }
    const std::string hash = cmds_hash_password(password);
    if (hash.empty()) {
        return "Passwords cannot be encrypted here";
    }
    kept->arguments[k_form] = "encrypted";
    kept->arguments[k_password] = hash;
    kept->value = "level " + kept->arguments[k_level] + " encrypted " + hash;
    kept->line = "user account " + kept->key + ' ' + kept->value;
    return check_level(*kept);
}

const char *check_hash(cmds_kept *kept) {
    return cmds_is_password_hash(kept->arguments[k_password]) ? check_level(*kept)
                                                              : "This is no hash of the form $5$SALT$HASH";
}

int32_t delete_account(int32_t argc, const char *const *argv) {
    cmds_kept kept;
    if (const int32_t refused = cmds_keep_line(cmds_running_row(), argc, argv, &kept); refused != 0) {
        return refused;
    }
    const std::string &name = kept.arguments.front();
    const cmds_row &account = cmds_running_row().family->rows[0];
    if (config_find(cmds_store(), k_config_global, cmds_rank(account), name) == nullptr) {
        return cmds_refuse("There is no such account");
    }
    if (is_last_administrator(name)) {
        return cmds_refuse(k_last_administrator);
    }
    kept.key = name;
    if (cmds_carry_out(false, account.command.words, kept, cmds_rank(account), {k_config_global}) ==
        cmds_carried::refused) {
        return k_cmds_failed;
    }
    config_unset(cmds_store(), k_config_global, cmds_rank(account), name);
    return 0;
}

int32_t show_accounts(int32_t /*argc*/, const char *const * /*argv*/) {
    report shown;
    report_table &table =
        report_add_table(shown, "accounts", "Accounts", {{"name", "Name"}, {"level", "Level"}});
    for (const account &one : all_accounts()) {
        table.rows.push_back({one.name, one.level});
    }
    cmds_print_report(shown);
    return 0;
}

constexpr cmds_word k_words[] = {
    {"user", "Who may log in."},
    {"delete", "Delete something for good."},
    {"account", "Accounts: who may log in, and what they may do."},
    {"delete user", "An account."},
    {"STRINGS", "The account's name, up to 64 characters without a blank."},
    {"level", "What the account may do."},
    {"(administrator|user)", "Everything, or look at the state of the switch only."},
    {"password", "The password as it is typed at the login."},
    {"password STRINGS", "The password, up to 64 characters without a blank."},
    {"encrypted", "The password as a salted hash, taken from another configuration."},
    {"encrypted STRINGS", "The hash, such as $5$SALT$HASH."},
    {"user password", "Your own password."},
    {"password-length", "How short a password may be."},
    {"<8-64>", "Characters, 8 to 64; 8 by default."},
    {"lockout", "Failed logins, after which an account is locked for some time."},
    {"<3-10>", "Failed logins one after the other, 3 to 10; 5 by default."},
    {"minutes", "How long it is locked."},
    {"<1-60>", "Minutes, 1 to 60; 10 by default."},
    {"never", "However many fail."},
};

constexpr cmds_form k_forms[] = {
    setting(k_config, "user account STRINGS level (administrator|user) password STRINGS",
            "Make an account, or change it.")
        .keyed(1)
        .hides(3)
        .prepared(encrypt),
    setting(k_config, "user account STRINGS level (administrator|user) encrypted STRINGS",
            "Make an account whose password is encrypted already, or change it.")
        .keyed(1)
        .hides(3)
        .prepared(check_hash),
    setting(k_config, "user password-length <8-64>", "Refuse shorter passwords from now on; 8 by default.")
        .at_first("8"),
    setting(k_config, "user lockout <3-10> minutes <1-60>", "Lock an account after failed logins.")
        .one_of("user lockout")
        .at_first("5 minutes 10"),
    setting(k_config, "user lockout never", "Lock no account.").one_of("user lockout"),
    action(k_actions, "user password", "Change your own password, which is asked for."),
    action(k_config, "delete user STRINGS", "Delete this account, unless it is the last administrator's.")
        .by(delete_account),
    show(k_shown, "show user account", "Show the accounts and their levels.").by(show_accounts),
};

static_assert(k_forms[0].line.starts_with("user account"));

} // namespace

CMDS_FAMILY(user, "user", {k_mask_config, 7, 0, 1});
