#include "lib/config/config_file.h"

#include "lib/base/plain_file.h"

namespace {

constexpr mode_t k_file_mode = 0600;

void add_line(const config_line &line, void *text) {
    static_cast<std::string *>(text)->append(line.line).push_back('\n');
}

} // namespace

std::string config_text(const config_store &store) {
    std::string text;
    config_walk(store, add_line, &text);
    return text;
}

bool config_save(const config_store &store, const char *path) {
    return plain_file_replace(path, config_text(store), k_file_mode);
}
