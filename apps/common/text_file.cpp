#include "apps/common/text_file.h"

#include "lib/base/plain_file.h"
#include "lib/base/result.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace {

bool failed(const char *program, const char *what, const std::string &path) {
    std::fprintf(stderr, "%s: cannot %s %s: %s\n", program, what, path.c_str(), std::strerror(errno));
    return false;
}

} // namespace

bool read_text_file(const char *program, const std::string &path, std::string &text) {
    FILE *const file = std::fopen(path.c_str(), "re");
    if (file == nullptr) {
        return failed(program, "read", path);
    }
    text.clear();
    char piece[4096];
    for (size_t got = 0; (got = std::fread(piece, 1, sizeof piece, file)) > 0;) {
        text.append(piece, got);
    }
    const bool read = std::ferror(file) == 0 || failed(program, "read", path);
    ignore_result(std::fclose(file)); // nothing was written
    return read;
}

bool write_text_file(const char *program, const std::string &path, const std::string &text) {
    return plain_file_replace(path.c_str(), text, 0644) || failed(program, "write", path);
}
