// Writes the register map's documents and the configurations made from it into the source tree whose folder
// is given, or checks that those there are what it would write.

#include "apps/common/document_tool.h"
#include "apps/mapdoc/mapdoc.h"

int main(int argc, char **argv) {
    constexpr document k_documents[] = {
        {"docs/register-map.md", mapdoc_markdown},
        {"docs/register-map.csv", mapdoc_csv},
        {"docs/register-map.json", mapdoc_json},
        {"docs/register-map.td.json", mapdoc_thing},
        {"integrations/telegraf.conf", mapdoc_telegraf},
        {"integrations/home-assistant.yaml", mapdoc_home_assistant},
    };
    return document_tool("mapdoc", k_documents, argc, argv);
}
