// Who may log in.

#include "lib/cmds/cmds_build.h"

namespace {

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
        .hides(3),
    setting(k_config, "user account STRINGS level (administrator|user) encrypted STRINGS",
            "Make an account whose password is encrypted already, or change it.")
        .keyed(1)
        .hides(3),
    setting(k_config, "user password-length <8-64>", "Refuse shorter passwords from now on; 8 by default.")
        .at_first("8"),
    setting(k_config, "user lockout <3-10> minutes <1-60>", "Lock an account after failed logins.")
        .one_of("user lockout")
        .at_first("5 minutes 10"),
    setting(k_config, "user lockout never", "Lock no account.").one_of("user lockout"),
    action(k_actions, "user password", "Change your own password, which is asked for."),
    action(k_config, "delete user STRINGS", "Delete this account, unless it is the last administrator's."),
    show(k_shown, "show user account", "Show the accounts, their levels and who is locked."),
};

} // namespace

CMDS_FAMILY(user, "user", 7, 0, 1);
