// Writes commands.md into a folder, or checks that the one there is what it would write.

#include "apps/cmddoc/cmddoc.h"
#include "apps/common/document_tool.h"

int main(int argc, char **argv) {
    constexpr document k_documents[] = {{"commands.md", cmddoc_markdown}};
    return document_tool("cmddoc", k_documents, argc, argv);
}
