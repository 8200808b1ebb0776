#include "sim/paths.h"

#include "lib/base/result.h"

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr const char *k_library = "libswitchsim.so";
constexpr const char *k_installed = SWITCHSIM_LIBDIR;

std::string own_folder() { return "/tmp/switchsim-" + std::to_string(::geteuid()); }

bool is_in_own_folder(const std::string &state_path) { return state_path == own_folder() + "/state"; }

} // namespace

std::string sim_paths_state(const char *option) {
    if (option != nullptr) {
        return option;
    }
    const char *from_environment = std::getenv("SWITCHSIM_STATE");
    if (from_environment != nullptr && *from_environment != '\0') {
        return from_environment;
    }
    return own_folder() + "/state";
}

bool sim_paths_make_folder(const std::string &state_path, std::string &error) {
    if (!is_in_own_folder(state_path)) {
        return true;
    }
    const std::string folder = own_folder();
    if (::mkdir(folder.c_str(), 0700) != 0 && errno != EEXIST) {
        error = folder + ": " + std::strerror(errno);
        return false;
    }
    // Anyone can make a folder of that name, or a link to elsewhere.
    struct stat info {};
    if (::lstat(folder.c_str(), &info) != 0 || !S_ISDIR(info.st_mode) || info.st_uid != ::geteuid() ||
        (info.st_mode & (S_IRWXG | S_IRWXO)) != 0) {
        error = folder + ": not a folder of this user alone; remove it or choose another file with --state";
        return false;
    }
    return true;
}

void sim_paths_remove_folder(const std::string &state_path) {
    if (is_in_own_folder(state_path)) {
        // It stays when something else lies in it.
        ignore_result(::rmdir(own_folder().c_str()));
    }
}

bool sim_paths_library(const char *option, std::string &library, std::string &error) {
    if (option != nullptr) {
        // The program need not run in this folder.
        char whole[PATH_MAX];
        library = ::realpath(option, whole) != nullptr ? whole : option;
        error = library + ": " + std::strerror(errno);
        return ::access(library.c_str(), R_OK) == 0;
    }
    char program[PATH_MAX];
    const ssize_t length = ::readlink("/proc/self/exe", program, sizeof program);
    const std::string path(program, length < 0 ? 0 : static_cast<size_t>(length));
    const std::string folder = path.substr(0, path.rfind('/') + 1);
    const std::string places[] = {folder + "../lib/" + k_library, std::string(k_installed) + "/" + k_library};
    for (const std::string &place : places) {
        if (::access(place.c_str(), R_OK) == 0) {
            library = place;
            return true;
        }
    }
    error = "no preloaded library at " + places[0] + " or " + places[1] + "; name it with --library";
    return false;
}
