// "show services": what it says of every family.

#include "lib/cmds/cmds_family.h"
#include "lib/cmds/cmds_routes.h"
#include "lib/services/services.h"

#include <gmock/gmock.h>

namespace {

using testing::Contains;

std::vector<std::string> told_lines() {
    std::vector<std::string> lines;
    const report told = cmds_report_routes();
    for (const auto &row : told.tables.at(0).rows) {
        lines.push_back(std::get<std::string>(row[0]) + ": " + std::get<std::string>(row[1]) + ": " +
                        std::get<std::string>(row[2]));
    }
    return lines;
}

bool goes_nowhere(const cmds_row &row) {
    return row.form->kind == cmds_kind::setting && row.form->run == nullptr &&
           services_find(row.command.words) == nullptr;
}

TEST(CommandRoutes, TellWhatCarriesEachFamilyOut) {
    services_on_desk();
    const std::vector<std::string> lines = told_lines();
    EXPECT_THAT(lines, Contains("configure: the shell: carried out"));
    EXPECT_THAT(lines, Contains("hostname: the kernel: only kept")) << "a desk keeps its own name";
    EXPECT_THAT(lines, Contains(testing::StartsWith("ping6: programs of the system: ")));
    EXPECT_THAT(lines, Contains("archive: : not supported"));
    for (const cmds_family *family : cmds_families()) {
        if (std::any_of(family->rows, family->rows + family->count, goes_nowhere)) {
            const std::string name = family->name;
            EXPECT_THAT(lines, testing::AnyOf(Contains(name + ": : only kept"),
                                              Contains(name + ", others: : only kept")));
        }
    }
    std::vector<std::string> once = lines;
    std::sort(once.begin(), once.end());
    const auto twice = std::adjacent_find(once.begin(), once.end());
    EXPECT_TRUE(twice == once.end()) << *twice;
}

} // namespace
