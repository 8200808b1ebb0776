// Writes register-map.md and register-map.csv into a folder, or checks that those there are what it would
// write.

#include "apps/common/document_tool.h"
#include "apps/mapdoc/mapdoc.h"

int main(int argc, char **argv) {
    constexpr document k_documents[] = {
        {"register-map.md", mapdoc_markdown},
        {"register-map.csv", mapdoc_csv},
    };
    return document_tool("mapdoc", k_documents, argc, argv);
}
