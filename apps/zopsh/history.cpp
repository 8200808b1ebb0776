#include "apps/zopsh/history.h"

#include "lib/base/plain_file.h"
#include "lib/base/result.h"

#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <string>

namespace {

constexpr mode_t k_file_mode = 0600;

/// "" without a home.
std::string file_path() {
    const char *const home = std::getenv("HOME");
    return home != nullptr && home[0] == '/' ? std::string(home) + "/.zopsh_history" : "";
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
    char *text = nullptr;
    size_t size = 0;
    std::FILE *const memory = path.empty() ? nullptr : ::open_memstream(&text, &size);
    if (memory == nullptr) {
        return;
    }
    HistEvent event{};
    const bool saved = ::history(history, &event, H_SAVE_FP, memory) >= 0;
    if (std::fclose(memory) == 0 && saved) {
        ignore_result(plain_file_replace(path.c_str(), {text, size}, k_file_mode)); // as the header says
    }
    std::free(text);
}
