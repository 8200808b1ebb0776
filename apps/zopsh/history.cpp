#include "apps/zopsh/history.h"

#include "lib/base/plain_file.h"
#include "lib/base/result.h"

#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <string>
#include <sys/mman.h>
#include <unistd.h>

namespace {

constexpr mode_t k_file_mode = 0600;

/// "" without a home.
std::string file_path() {
    const char *const home = std::getenv("HOME");
    return home != nullptr && home[0] == '/' ? std::string(home) + "/.zopsh_history" : "";
}

std::string rest_of(std::FILE *file) {
    std::string text;
    for (int byte = 0; (byte = std::getc(file)) != EOF;) {
        text += static_cast<char>(byte);
    }
    return text;
}

} // namespace

void history_read(History *history) {
    const std::string path = file_path();
    const plain_file file = plain_file_open(path.c_str(), O_RDONLY);
    if (file.fd.valid() && file.owner == ::geteuid()) {
        HistEvent event{};
        const std::string opened = "/proc/self/fd/" + std::to_string(file.fd.get());
        ::history(history, &event, H_LOAD, opened.c_str());
    }
}

void history_write(History *history) {
    const std::string path = file_path();
    unique_fd memory(path.empty() ? -1 : ::memfd_create("history", MFD_CLOEXEC));
    std::FILE *const file = memory.valid() ? ::fdopen(memory.get(), "r+") : nullptr;
    if (file == nullptr) {
        return;
    }
    ignore_result(memory.release()); // it is the stream's now
    HistEvent event{};
    if (::history(history, &event, H_SAVE_FP, file) >= 0 && std::fflush(file) == 0) {
        std::rewind(file);
        // Nobody waits for it, as the header says.
        ignore_result(plain_file_replace(path.c_str(), rest_of(file), k_file_mode));
    }
    std::fclose(file);
}
