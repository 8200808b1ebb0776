#include "lib/config/config_file.h"

#include <gtest/gtest.h>
#include <memory>

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
