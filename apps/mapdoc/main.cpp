#include "apps/mapdoc/mapdoc.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string_view>

// Writes register-map.md and register-map.csv into a folder, or checks that those there are what it would
// write.

namespace {

struct document {
    const char *name;
    std::string (*text)();
};

constexpr document k_documents[] = {
    {"register-map.md", mapdoc_markdown},
    {"register-map.csv", mapdoc_csv},
};

bool write_file(const std::string &path, const std::string &text) {
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file << text;
    file.close();
    if (!file) {
        std::fprintf(stderr, "mapdoc: cannot write %s: %s\n", path.c_str(), std::strerror(errno));
        return false;
    }
    return true;
}

bool is_current(const std::string &path, const std::string &text) {
    const std::ifstream file(path, std::ios::binary);
    std::ostringstream content;
    content << file.rdbuf();
    if (content.str() != text) {
        std::fprintf(stderr, "mapdoc: %s is not what the register map gives; build the target \"docs\"\n",
                     path.c_str());
        return false;
    }
    return true;
}

} // namespace

int main(int argc, char **argv) {
    const bool check = argc == 3 && std::string_view(argv[1]) == "--check";
    if (argc != 2 && !check) {
        std::fputs("usage: mapdoc [--check] FOLDER\n", stderr);
        return 2;
    }
    const std::string folder = argv[argc - 1];
    bool good = true;
    for (const document &doc : k_documents) {
        const std::string path = folder + '/' + doc.name;
        good = (check ? is_current(path, doc.text()) : write_file(path, doc.text())) && good;
    }
    return good ? 0 : 1;
}
