#include "sim/attach.h"

#include "lib/base/result.h"
#include "sim/state_file.h"

#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <unistd.h>

namespace {

struct attachment {
    sim_state *state;
    char path[PATH_MAX];
};

// Null: not attached yet. Replaced when the environment names another switch; the old one stays mapped, as
// another thread may be in the middle of a request.
std::atomic<attachment *> s_attachment = nullptr;

const char *state_path() {
    const char *path = std::getenv("SWITCHSIM_STATE");
    return path != nullptr && std::strlen(path) < PATH_MAX ? path : "";
}

sim_file_result attach(const char *path, sim_state *&state) {
    const attachment *current = s_attachment.load(std::memory_order_acquire);
    if (current != nullptr && std::strcmp(current->path, path) == 0) {
        state = current->state;
        return sim_file_result::ok;
    }
    sim_file file;
    const sim_file_result result = sim_file_open(path, file);
    if (result != sim_file_result::ok) {
        return result;
    }
    auto *next = static_cast<attachment *>(std::malloc(sizeof(attachment)));
    if (next == nullptr) {
        sim_file_close(file);
        errno = ENOMEM;
        return sim_file_result::failed;
    }
    next->state = state = file.state;
    std::memcpy(next->path, path, std::strlen(path) + 1);
    s_attachment.store(next, std::memory_order_release);
    return result;
}

} // namespace

sim_state &sim_attach() {
    const char *path = state_path();
    sim_state *state = nullptr;
    const sim_file_result result = attach(path, state);
    if (result != sim_file_result::ok) {
        char line[PATH_MAX + 256];
        const int length = std::snprintf(
            line, sizeof line,
            "switchsim: no simulated switch to answer: SWITCHSIM_STATE=%s: %s; start the program "
            "with `switchsim run`\n",
            path, *path == '\0' ? "no path" : sim_file_text(result));
        // The process ends either way; its own output buffers are not ours to flush.
        ignore_result(::write(STDERR_FILENO, line, static_cast<size_t>(length)));
        ::_exit(1);
    }
    return *state;
}

sim_state *sim_attach_quietly() {
    const int error = errno;
    sim_state *state = nullptr;
    if (attach(state_path(), state) != sim_file_result::ok) {
        state = nullptr;
    }
    errno = error;
    return state;
}

sim_state *sim_attached() {
    const attachment *current = s_attachment.load(std::memory_order_acquire);
    return current != nullptr ? current->state : nullptr;
}
