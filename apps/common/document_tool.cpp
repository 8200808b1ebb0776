#include "apps/common/document_tool.h"

#include "apps/common/text_file.h"

#include <cstdio>
#include <string_view>

namespace {

bool is_current(const char *program, const std::string &path, const std::string &text) {
    std::string content;
    if (!read_text_file(program, path, content)) {
        return false;
    }
    if (content != text) {
        std::fprintf(stderr, "%s: %s is not what the code's tables give; build the target \"docs\"\n",
                     program, path.c_str());
        return false;
    }
    return true;
}

} // namespace

int document_tool(const char *program, std::span<const document> documents, int argc, char **argv) {
    const bool check = argc == 3 && std::string_view(argv[1]) == "--check";
    if ((argc != 2 && !check) || argv[argc - 1][0] == '-') {
        std::fprintf(stderr, "usage: %s [--check] FOLDER\n", program);
        return 2;
    }
    const std::string folder = argv[argc - 1];
    bool good = true;
    for (const document &doc : documents) {
        const std::string path = folder + '/' + doc.name;
        good = (check ? is_current(program, path, doc.text()) : write_text_file(program, path, doc.text())) &&
               good;
    }
    return good ? 0 : 1;
}
