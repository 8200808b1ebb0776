// The document of the commands as GitHub takes it.

#include "apps/cmddoc/cmddoc.h"

#include <gmock/gmock.h>
#include <map>
#include <regex>
#include <sstream>

namespace {

std::vector<std::string> lines_of(const std::string &text) {
    std::istringstream in(text);
    std::vector<std::string> lines;
    for (std::string line; std::getline(in, line);) {
        lines.push_back(line);
    }
    return lines;
}

/// The lines of each section, by its heading.
std::map<std::string, std::string> sections_of(const std::string &text) {
    std::map<std::string, std::string> sections;
    std::string heading;
    for (const std::string &line : lines_of(text)) {
        if (line.starts_with("## ")) {
            heading = line.substr(3);
            EXPECT_TRUE(sections.emplace(heading, "").second) << heading;
        } else {
            sections[heading] += line + "\n";
        }
    }
    return sections;
}

std::string replaced(std::string text, const std::string &what, const std::string &by) {
    for (size_t at = 0; (at = text.find(what, at)) != std::string::npos; at += by.size()) {
        text.replace(at, what.size(), by);
    }
    return text;
}

TEST(CommandDocument, EveryCommandStandsInItsFamilyAndItsMode) {
    const auto sections = sections_of(cmddoc_markdown());
    for (const cmds_family *family : cmds_families()) {
        const std::string &section = sections.at(cmddoc_title(*family));
        for (size_t i = 0; i < family->count; i++) {
            const cmds_form &form = *family->rows[i].form;
            const std::string line = "`" + replaced(std::string(form.line), "|", "\\|") + "`";
            EXPECT_THAT(section, testing::HasSubstr(line));
            if (form.secret != 0) {
                EXPECT_TRUE(std::regex_search(section.substr(section.find(line)),
                                              std::regex("^[^\n]*\\*\\*Secret:\\*\\*")))
                    << line;
            }
        }
    }
    const std::string &erps = sections.at("erps");
    EXPECT_LT(erps.find("**In erps ring**"), erps.find("| `guard-timer <10-2000>` | "));
    EXPECT_THAT(erps, testing::HasSubstr("| `guard-timer <10-2000>` | Ignore old messages for this long. | "
                                         "`500` | `guard-timer 500` |\n"));
}

TEST(CommandDocument, TablesHaveAllTheirCellsAndLinksLeadSomewhere) {
    const std::string text = cmddoc_markdown();
    std::map<std::string, int> anchors;
    ptrdiff_t wanted = 0; // bars of the table that a line is in; 0: in none
    for (const std::string &line : lines_of(text)) {
        if (line.starts_with("## ")) {
            std::string anchor = replaced(line.substr(3), " ", "-");
            std::transform(anchor.begin(), anchor.end(), anchor.begin(), ::tolower);
            anchors[anchor]++;
        }
        const std::string bare = replaced(line, "\\|", "");
        const ptrdiff_t bars = std::count(bare.begin(), bare.end(), '|');
        wanted = bars == 0 ? 0 : wanted != 0 ? wanted : bars;
        EXPECT_EQ(wanted, bars) << line;
        const std::string outside_code = std::regex_replace(bare, std::regex("`[^`]*`|<br>"), "");
        EXPECT_EQ(outside_code.find_first_of("<>"), std::string::npos) << line;
    }
    const std::regex link("\\]\\(#([^)]*)\\)");
    size_t links = 0;
    for (std::sregex_iterator found(text.begin(), text.end(), link), end; found != end; ++found, links++) {
        EXPECT_EQ(anchors[(*found)[1]], 1) << (*found)[1];
    }
    EXPECT_GT(links, cmds_families().size());
}

} // namespace
