#include "lib/ipc/ipc_privs.h"

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

void take_vty_group(const char *name) {
    const group *entry = ::getgrnam(name);
    if (entry == nullptr) {
        refuse("privs_init: could not lookup vty group ", name);
    }
    const gid_t only = entry->gr_gid;
    if (::setgroups(1, &only) != 0) {
        refuse("privs_init: could not setgroups, ", safe_strerror(errno));
    }
}

void take_group(const char *name) {
    const group *entry = ::getgrnam(name);
    if (entry == nullptr) {
        refuse("privs_init: could not lookup group ", name);
    }
    if (::setregid(entry->gr_gid, entry->gr_gid) != 0) {
        refuse("iprivs_init: could not setregid, ", safe_strerror(errno));
    }
}

} // namespace

void iprivs_init(const ipc_privs_settings *settings) {
    if (settings == nullptr) {
        std::fputs("iprivs_init: called with NULL arg!\n", stderr);
        std::exit(1);
    }
    s_active = settings->user != nullptr || settings->group != nullptr || settings->capabilities > 0;
    if (!s_active) {
        return;
    }
    uid_t user = k_no_user;
    if (settings->user != nullptr) {
        const passwd *entry = ::getpwnam(settings->user);
        if (entry == nullptr) {
            refuse("privs_init: could not lookup user ", settings->user);
        }
        user = entry->pw_uid;
    }
    if (settings->vty_group != nullptr) {
        take_vty_group(settings->vty_group);
    }
    if (settings->group != nullptr) {
        take_group(settings->group);
    }
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
