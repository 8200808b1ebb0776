// Writes register-map.md and register-map.csv into a folder, or checks that those there are what it would
// write.

#include "apps/common/text_file.h"
#include "apps/mapdoc/mapdoc.h"

#include <cstdio>
#include <string_view>

namespace {

struct document {
    const char *name;
    std::string (*text)();
};

constexpr document k_documents[] = {
    {"register-map.md", mapdoc_markdown},
    {"register-map.csv", mapdoc_csv},
};

bool is_current(const std::string &path, const std::string &text) {
    std::string content;
    if (!read_text_file("mapdoc", path, content)) {
        return false;
    }
    if (content != text) {
        std::fprintf(stderr, "mapdoc: %s is not what the register map gives; build the target \"docs\"\n",
                     path.c_str());
        return false;
    }
    return true;
}

} // namespace

int main(int argc, char **argv) {
    const bool check = argc == 3 && std::string_view(argv[1]) == "--check";
    if ((argc != 2 && !check) || argv[argc - 1][0] == '-') {
        std::fputs("usage: mapdoc [--check] FOLDER\n", stderr);
        return 2;
    }
    const std::string folder = argv[argc - 1];
    bool good = true;
    for (const document &doc : k_documents) {
        const std::string path = folder + '/' + doc.name;
        good = (check ? is_current(path, doc.text()) : write_text_file("mapdoc", path, doc.text())) && good;
    }
    return good ? 0 : 1;
}
