#include "apps/sasid/privileges.h"

#include "lib/base/local_socket.h"
#include "lib/base/result.h"
#include "lib/base/unique_fd.h"

#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <grp.h>
#include <linux/capability.h>
#include <pwd.h>
#include <string_view>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

bool failed(const std::string &what, std::string &error) {
    error = what + ": " + std::strerror(errno);
    return false;
}

bool become(const std::string &user, std::string &error) {
    errno = 0;
    const passwd *entry = ::getpwnam(user.c_str());
    if (entry == nullptr) {
        error = user + ": " + (errno != 0 ? std::strerror(errno) : "there is no such user");
        return false;
    }
    const uid_t uid = entry->pw_uid;
    const gid_t gid = entry->pw_gid;
    if (::initgroups(user.c_str(), gid) != 0 || ::setresgid(gid, gid, gid) != 0 ||
        ::setresuid(uid, uid, uid) != 0) {
        return failed("becoming user " + user, error);
    }
    return true;
}

bool drop_capabilities(std::string &error) {
    __user_cap_header_struct header = {_LINUX_CAPABILITY_VERSION_3, 0};
    const __user_cap_data_struct none[_LINUX_CAPABILITY_U32S_3] = {};
    if (::syscall(SYS_capset, &header, none) != 0) {
        return failed("dropping capabilities", error);
    }
    return true;
}

} // namespace

bool sasid_drop_privileges(const std::string &user, std::string &error) {
    if (!user.empty() && !become(user, error)) {
        return false;
    }
    // Also for a user: "root" keeps its capabilities when it becomes itself.
    if (!drop_capabilities(error)) {
        return false;
    }
    return ::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 || failed("giving up new privileges", error);
}

void sasid_tell_ready() {
    constexpr std::string_view k_ready = "READY=1";
    const char *path = std::getenv("NOTIFY_SOCKET");
    local_address address{};
    if (path == nullptr || (*path != '/' && *path != '@') || !local_address_of(path, &address)) {
        return;
    }
    if (*path == '@') { // a name without a file: NUL stands for its first character, and none follows
        address.name.sun_path[0] = '\0';
        address.length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + std::strlen(path));
    }
    const unique_fd fd(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    // A manager that does not listen is told nothing.
    ignore_result(::sendto(fd.get(), k_ready.data(), k_ready.size(), MSG_NOSIGNAL | MSG_DONTWAIT,
                           reinterpret_cast<const sockaddr *>(&address.name), address.length));
}
