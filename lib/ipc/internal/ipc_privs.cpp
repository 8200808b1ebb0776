#include "lib/ipc/internal/ipc_privs.h"

#include "lib/base/log.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <grp.h>
#include <pwd.h>
#include <unistd.h>

namespace {

constexpr uid_t k_no_user = static_cast<uid_t>(-1);

bool s_active = false;               // false: raising and lowering do nothing
uid_t s_saved_user = k_no_user;      // effective before iprivs_init
uid_t s_configured_user = k_no_user; // what lowering goes to

[[noreturn]] void refuse(const char *what, const char *text) {
    std::fprintf(stderr, "%s%s\n", what, text);
    std::exit(1);
}

uid_t user_of(const char *name) {
    const passwd *entry = ::getpwnam(name);
    if (entry == nullptr) {
        refuse("privs_init: could not lookup user ", name);
    }
    return entry->pw_uid;
}

gid_t group_of(const char *name, const char *failure) {
    const group *entry = ::getgrnam(name);
    if (entry == nullptr) {
        refuse(failure, name);
    }
    return entry->gr_gid;
}

void take_groups(const ipc_privs_settings &settings) {
    if (settings.vty_group != nullptr) {
        const gid_t only = group_of(settings.vty_group, "privs_init: could not lookup vty group ");
        if (::setgroups(1, &only) != 0) {
            refuse("privs_init: could not setgroups, ", safe_strerror(errno));
        }
    }
    if (settings.group != nullptr) {
        const gid_t group = group_of(settings.group, "privs_init: could not lookup group ");
        if (::setregid(group, group) != 0) {
            refuse("iprivs_init: could not setregid, ", safe_strerror(errno));
        }
    }
}

} // namespace

void iprivs_init(const ipc_privs_settings *settings) {
    if (settings == nullptr) {
        refuse("iprivs_init: called with NULL arg!", "");
    }
    s_active = settings->user != nullptr || settings->group != nullptr || settings->capabilities > 0;
    if (!s_active) {
        return;
    }
    const uid_t user = settings->user != nullptr ? user_of(settings->user) : k_no_user;
    take_groups(*settings);
    s_saved_user = ::geteuid();
    s_configured_user = user == k_no_user ? s_saved_user : user;
    if (user != k_no_user && ::setreuid(k_no_user, user) != 0) {
        refuse("privs_init (uid): could not setreuid, ", safe_strerror(errno));
    }
}

int32_t iprivs_change(int32_t operation) {
    if (!s_active) {
        return 0;
    }
    switch (operation) {
    case k_ipc_privs_raise:
        return ::seteuid(s_saved_user);
    case k_ipc_privs_lower:
        return ::seteuid(s_configured_user);
    default:
        return -1;
    }
}

ipc_privs_state iprivs_current() {
    return s_active && ::geteuid() != s_configured_user ? k_ipc_privs_raised : k_ipc_privs_lowered;
}
