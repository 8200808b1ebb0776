// What stands after the bars of a line in the shell's client.

#include "apps/zopsh/filter.h"

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <unistd.h>
#include <utility>

namespace {

constexpr const char *k_configuration =
    "location a\nno ssh server\n\ninterface 1\nname up\n!\nvlan 2\nname down\n!\nvlan 12\n!\n";

/// What a line leaves of the configuration; "-" when it is refused.
std::string left_by(const std::string &line) {
    const auto split = filter_split(line);
    const auto text = split ? filter_apply(split->filters, k_configuration) : std::nullopt;
    return text.value_or("-");
}

TEST(ZopshFilter, LeavesWhatIsWanted) {
    const std::pair<const char *, const char *> cases[] = {
        {"x | include name", "name up\nname down\n"},
        {"x | inc up|down | exc ^name d", "name up\n"}, // a bar without a blank is the expression's
        {"x | begin vlan.1", "vlan 12\n!\n"},
        {"x | begin nothing", ""},
        {"x | section ^vlan", "vlan 2\nname down\n!\nvlan 12\n!\n"},
        {"x | section vlan 12 | count", "2\n"},
        {"x | section location", ""}, // a setting of the whole switch enters nothing
        {"x | section name", ""},
        {"x | count name", "2\n"},
        {"x | c", "11\n"},
        {"x ; a comment | include name", k_configuration},
        {"x|include name", k_configuration},
        {"x | include [", "-"},
        {"x | include", "-"},
        {"x | s vlan", "-"}, // section or save
        {"x | nothing", "-"},
        {"x |", "-"},
        {"x | include a |", "-"},
        {" | include name", "-"},
    };
    for (const auto &[line, left] : cases) {
        EXPECT_EQ(left_by(line), left) << line;
    }
    EXPECT_EQ(filter_split("show it | include x")->command, "show it ");
}

TEST(ZopshFilter, SavesForItsOwnerAloneAndOnlyInPlainFiles) {
    const std::filesystem::path folder = testing::TempDir() + "zop_filter_" + std::to_string(::getpid());
    const std::filesystem::path file = folder / "saved text";
    std::filesystem::create_directory(folder);
    std::ofstream(file) << std::string(1000, 'x');
    std::filesystem::permissions(file, std::filesystem::perms::all);
    EXPECT_EQ(left_by("x | include name | save " + file.string()), "");
    std::ifstream saved(file);
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(saved), {}), "name up\nname down\n");
    EXPECT_EQ(std::filesystem::status(file).permissions(),
              std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
    std::filesystem::create_symlink(file, folder / "link");
    EXPECT_EQ(left_by("x | save " + (folder / "link").string()), "-");
    EXPECT_EQ(left_by("x | save " + folder.string()), "-");
    EXPECT_EQ(left_by("x | save /dev/null"), "-");
    std::filesystem::remove_all(folder);
}

} // namespace
