// The store of settings, and how it is saved.

#include "lib/base/plain_file.h"
#include "lib/base/result.h"
#include "lib/config/config_file.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <memory>
#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr uint32_t k_vlan = 50; // ranks of contexts
constexpr uint32_t k_port = 40;

struct free_store {
    void operator()(config_store *store) const { config_free(store); }
};
using owned_store = std::unique_ptr<config_store, free_store>;

config_context enter(config_store &store, uint32_t rank, const std::string &key, bool stays) {
    return config_enter(store, {rank, key, (rank == k_vlan ? "vlan " : "interface ") + key, 0}, stays);
}

bool put(config_store &store, config_context context, uint32_t rank, const std::string &key,
         const std::string &line) {
    return config_set(store, context, {rank, key, line, 0});
}

std::string differences(const config_store &a, const config_store &b) {
    std::string text;
    config_compare(
        a, b,
        [](config_side side, const config_line &line, void *with) {
            static_cast<std::string *>(with)
                ->append(1, " -+"[static_cast<int>(side)])
                .append(line.line)
                .push_back('\n');
        },
        &text);
    return text;
}

// ---- saving; the linker leads the calls of the library here

int s_step = 0;            // calls so far
int s_fails_at = 0;        // the call of this number, from 1, fails; 0: none
bool s_power_goes = false; // instead of failing, everything ends there

bool fails() {
    if (++s_step != s_fails_at) {
        return false;
    }
    if (s_power_goes) {
        ::_exit(1);
    }
    errno = ENOSPC;
    return true;
}

} // namespace

extern "C" {
ssize_t __real_write(int fd, const void *bytes, size_t size);
ssize_t __wrap_write(int fd, const void *bytes, size_t size) {
    return fails() ? -1 : __real_write(fd, bytes, size);
}
int __real_fsync(int fd);
int __wrap_fsync(int fd) { return fails() ? -1 : __real_fsync(fd); }
int __real_rename(const char *from, const char *to);
int __wrap_rename(const char *from, const char *to) { return fails() ? -1 : __real_rename(from, to); }
}

namespace {

std::string read_file(const std::filesystem::path &path) {
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), {}};
}

constexpr int k_save_steps = 4; // written, on the disk, in the old one's place, and that on the disk, too

class ConfigSave : public testing::Test {
protected:
    ConfigSave() {
        std::filesystem::create_directory(m_folder);
        std::ofstream(m_file) << "old\n";
        s_step = 0;
        EXPECT_TRUE(put(*m_store, k_config_global, 1, "", "new"));
    }
    ~ConfigSave() override {
        s_fails_at = 0;
        std::filesystem::remove_all(m_folder);
    }

    [[nodiscard]] std::ptrdiff_t files() const {
        return std::distance(std::filesystem::directory_iterator(m_folder), {});
    }

    const std::filesystem::path m_folder = testing::TempDir() + "zop_config_" + std::to_string(::getpid());
    const std::filesystem::path m_file = m_folder / "saved";
    const owned_store m_store{config_new()};
};

TEST_F(ConfigSave, ADiskThatFailsLosesNothing) {
    for (s_fails_at = 1; s_fails_at < k_save_steps; s_fails_at++) {
        s_step = 0;
        EXPECT_FALSE(config_save(*m_store, m_file.c_str())) << s_fails_at;
        EXPECT_EQ(errno, ENOSPC);
        EXPECT_EQ(read_file(m_file), "old\n");
        EXPECT_EQ(files(), 1) << "nothing is left beside it";
    }
    s_step = 0;
    EXPECT_FALSE(config_save(*m_store, m_file.c_str())) << "it may not be there after the next start";
    s_fails_at = 0;
    std::filesystem::permissions(m_file, std::filesystem::perms::all);
    EXPECT_TRUE(config_save(*m_store, m_file.c_str()));
    EXPECT_EQ(read_file(m_file), "new\n");
    EXPECT_EQ(std::filesystem::status(m_file).permissions(),
              std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
    EXPECT_FALSE(config_save(*m_store, (m_folder / "none" / "saved").c_str()));
}

TEST_F(ConfigSave, PowerThatGoesLeavesTheOldOneOrTheNew) {
    for (s_fails_at = 1; s_fails_at <= k_save_steps; s_fails_at++) {
        std::ofstream(m_file) << "old\n";
        const pid_t child = ::fork();
        if (child == 0) {
            s_power_goes = true;
            ignore_result(config_save(*m_store, m_file.c_str()));
            ::_exit(0);
        }
        int status = 0;
        ASSERT_EQ(::waitpid(child, &status, 0), child);
        EXPECT_EQ(WEXITSTATUS(status), 1) << "this step is never reached";
        EXPECT_EQ(read_file(m_file), s_fails_at < k_save_steps ? "old\n" : "new\n");
    }
    s_fails_at = 0;
    const std::filesystem::path others[] = {m_file.string() + "-before", m_file.string() + ".2026-11"};
    for (const auto &other : others) {
        std::ofstream(other) << "kept";
    }
    EXPECT_GT(files(), 3) << "the power left something";
    plain_file_remove_unfinished(m_file.c_str());
    EXPECT_EQ(files(), 3) << "the file and what others have beside it";
}

// ---- the store

TEST(Config, StandsInOneOrderHoweverItWasTyped) {
    const owned_store store(config_new());
    const config_context ten = enter(*store, k_vlan, "10", true);
    const config_context two = enter(*store, k_vlan, "2", true);
    const config_context port = enter(*store, k_port, "1", false);
    ASSERT_TRUE(put(*store, ten, 3, "", "name ten"));
    ASSERT_TRUE(put(*store, k_config_global, 9, "b 10", "user b 10"));
    ASSERT_TRUE(put(*store, k_config_global, 9, "b 9", "user b 9"));
    ASSERT_TRUE(put(*store, k_config_global, 9, "b", "user b"));
    ASSERT_TRUE(put(*store, k_config_global, 8, "", "hostname a"));
    ASSERT_TRUE(put(*store, k_config_global, 8, "", "hostname b")) << "in the place of the other";
    EXPECT_EQ(config_text(*store),
              "hostname b\nuser b\nuser b 9\nuser b 10\n\nvlan 2\n!\nvlan 10\nname ten\n!\n")
        << "a port without settings is not shown";
    EXPECT_EQ(enter(*store, k_vlan, "10", true), ten);
    ASSERT_TRUE(put(*store, port, 3, "", "shutdown"));
    ASSERT_TRUE(config_unset(*store, k_config_global, 9, "b"));
    EXPECT_FALSE(config_unset(*store, k_config_global, 9, "b"));
    EXPECT_TRUE(config_leave_out(*store, two));
    EXPECT_EQ(config_text(*store),
              "hostname b\nuser b 9\nuser b 10\n\ninterface 1\nshutdown\n!\nvlan 10\nname ten\n!\n");
}

TEST(Config, NamesThatBeginAsNumbersDoHaveOnePlaceEach) {
    std::vector<std::string> names = {"1", "10", "1a", "2", "a"};
    do {
        const owned_store store(config_new());
        for (const std::string &name : names) {
            ASSERT_TRUE(put(*store, k_config_global, 9, name, "user " + name));
        }
        ASSERT_EQ(config_text(*store), "user 1\nuser 2\nuser 10\nuser 1a\nuser a\n");
    } while (std::next_permutation(names.begin(), names.end()));
}

TEST(Config, AContextThatHasGoneIsNobodys) {
    const owned_store store(config_new());
    const config_context gone = enter(*store, k_vlan, "2", true);
    const config_context stays = enter(*store, k_vlan, "3", true);
    ASSERT_TRUE(put(*store, gone, 3, "", "name two"));
    ASSERT_TRUE(config_leave_out(*store, gone));
    EXPECT_NE(enter(*store, k_vlan, "2", true), gone);
    EXPECT_FALSE(put(*store, gone, 3, "", "name two"));
    EXPECT_EQ(config_find(*store, gone, 3, ""), nullptr);
    EXPECT_FALSE(config_leave_out(*store, gone));
    EXPECT_FALSE(config_leave_out(*store, k_config_global));
    config_place place = {};
    EXPECT_FALSE(config_place_of(*store, gone, &place));
    ASSERT_TRUE(config_place_of(*store, stays, &place));
    EXPECT_EQ(place.key, "3");
    config_clear(*store);
    EXPECT_EQ(config_room(*store), k_config_settings_max);
    EXPECT_FALSE(config_place_of(*store, stays, &place));
    EXPECT_GT(enter(*store, k_vlan, "3", true), stays) << "a session may still hold the old number";
}

TEST(Config, IsBoundedAndFreesItsPlaces) {
    const owned_store store(config_new());
    const config_context vlan = enter(*store, k_vlan, "2", true);
    for (size_t i = 1; i < k_config_settings_max; i++) {
        ASSERT_TRUE(put(*store, vlan, 3, std::to_string(i), "line"));
    }
    EXPECT_FALSE(put(*store, vlan, 3, "0", "line"));
    EXPECT_EQ(enter(*store, k_vlan, "3", true), k_config_none);
    EXPECT_TRUE(put(*store, vlan, 3, "1", "another")) << "replaces one";
    ASSERT_TRUE(config_leave_out(*store, vlan));
    EXPECT_EQ(config_room(*store), k_config_settings_max);
}

TEST(Config, LinesThatCouldNotBeReplayedDoNotFit) {
    std::string words = "w";
    for (int i = 1; i < 20; i++) {
        words += " w";
    }
    EXPECT_TRUE(config_line_fits(words));
    EXPECT_FALSE(config_line_fits(words + " w"));
    EXPECT_TRUE(config_line_fits(std::string(254, 'x')));
    EXPECT_FALSE(config_line_fits(std::string(255, 'x')));
    EXPECT_FALSE(config_line_fits(""));
    EXPECT_FALSE(config_line_fits("#x"));
    EXPECT_FALSE(config_line_fits("!x"));
}

TEST(Config, ComparesByPlaceAndNamesTheContext) {
    const owned_store a(config_new());
    const owned_store b(config_new());
    for (config_store *const store : {a.get(), b.get()}) {
        ASSERT_TRUE(put(*store, k_config_global, 1, "", "same"));
        ASSERT_TRUE(put(*store, enter(*store, k_vlan, "2", true), 3, "", "name two"));
        ASSERT_TRUE(
            put(*store, enter(*store, k_vlan, "3", true), 3, "", store == a.get() ? "name a" : "name b"));
    }
    EXPECT_EQ(differences(*a, *a), "");
    ASSERT_TRUE(put(*b, enter(*b, k_port, "1", false), 4, "", "shutdown"));
    enter(*a, k_port, "2", false);
    ASSERT_TRUE(put(*a, k_config_global, 2, "", "only a"));
    EXPECT_EQ(differences(*a, *b), "-only a\n+interface 1\n+shutdown\n vlan 3\n-name a\n+name b\n");
}

} // namespace
