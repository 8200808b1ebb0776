// The values of arguments: what is kept of them, and what is refused.

#include "lib/cmds/cmds_values.h"

#include <gtest/gtest.h>

namespace {

constexpr const char *k_refused = nullptr;

struct value_row {
    const char *pattern;
    const char *typed;
    const char *kept; // null: refused
};

constexpr value_row k_values[] = {
    {"<1-60>", "060", "60"},
    {"VALUE", "2147483647", "2147483647"},
    {"VALUE", "2147483648", k_refused},
    {"VLANID", "0012", "12"},
    {"GROUP_ID", "06", "6"},
    {"GROUP_ID", "0", k_refused},
    {"GROUP_ID", "7", k_refused},
    {"PORT_ID", "12", "12"},
    {"PORT_ID", "13", k_refused},
    {"PORTLISTS", "5,1-3,2-4,9,10", "1-5,9,10"},
    {"PORTLISTS", "1-12", "1-12"},
    {"PORTLISTS", "1-13", k_refused},
    {"PORTLISTS", "0", k_refused},
    {"PORTLISTS", "3-1", k_refused},
    {"PORTLISTS", "1,", k_refused},
    {"PORTLISTS", ",1", k_refused},
    {"PORTLISTS", "1--2", k_refused},
    {"PORTLISTS", "1-", k_refused},
    {"PORTLISTS", "-1", k_refused},
    {"VLANLISTS", "4094,1", "1,4094"},
    {"VLANLISTS", "4095", k_refused},
    {"IPADDR", "010.001.255.0", "10.1.255.0"},
    {"IPADDR", "10.1.256.0", k_refused},
    {"IPADDR_MASK", "10.0.0.0/08", "10.0.0.0/8"},
    {"IPADDR_MASK", "10.0.0.0/33", k_refused},
    {"IPADDR_MASK", "10.0.0.256/8", k_refused},
    {"IPADDR_MASK", "10.0.0.0/8x", k_refused},
    {"IPV6ADDR", "FE80:0000:0:0:00:0:010:0001", "fe80:0:0:0:0:0:10:1"},
    {"IPV6ADDR", ":::::::0", "0:0:0:0:0:0:0:0"},
    {"MACADDR", "00:AB:CD:EF:01:02", "00:ab:cd:ef:01:02"},
    {"TIME", "7:5:9", "07:05:09"},
    {"TIME", "23:59:59", "23:59:59"},
    {"TIME", "24:00:00", k_refused},
    {"TIME", "1:60:0", k_refused},
    {"TIME", "1:2:3:4", k_refused},
    {"TIME", "-1:2:3", k_refused},
    {"DATE", "2028/2/29", "2028/02/29"},
    {"DATE", "2027/2/29", k_refused},
    {"DATE", "2027/13/1", k_refused},
    {"DATE", "2038/1/1", k_refused},
    {"HEX_VALUE", "0xFFFFFFFF", "ffffffff"},
    {"HEX_VALUE", "100000000", k_refused},
    {"HEX_VALUE", "zz1", k_refused},
    {"OID", ".1.3.6.1", ".1.3.6.1"},
    {"OID", "1..3", k_refused},
    {"OID", "1.3.", k_refused},
    {"STRINGS", "caf\xc3\xa9", "caf\xc3\xa9"},
    {"STRINGS", "bell\a", k_refused},
    {"STRINGS", "delete\x7f", k_refused},
    {"STRINGS", "\xc2\xa0\xed\x9f\xbf\xf4\x8f\xbf\xbf", "\xc2\xa0\xed\x9f\xbf\xf4\x8f\xbf\xbf"},
    {"STRINGS", "a\xc2\x9b", k_refused},            // what a terminal obeys
    {"STRINGS", "\x9b", k_refused},                 // no UTF-8: a continuation,
    {"STRINGS", "caf\xc3", k_refused},              // a half,
    {"STRINGS", "\xc3(", k_refused},                // another one,
    {"STRINGS", "\xe0\x82\x9b", k_refused},         // more bytes than it takes,
    {"STRINGS", "\xed\xa0\x80", k_refused},         // a surrogate,
    {"STRINGS", "\xf4\x90\x80\x80", k_refused},     // beyond the last,
    {"STRINGS", "\xf8\x88\x80\x80\x80", k_refused}, // of five bytes
    {"(enable|disable)", "enable", "enable"},
    {"recovery", "rec", "recovery"},
};

TEST(CmdsValues, AreKeptInOneFormOrRefused) {
    for (const value_row &row : k_values) {
        SCOPED_TRACE(std::string(row.pattern) + " " + row.typed);
        std::string kept;
        const char *const fault = cmds_keep_value(row.pattern, row.typed, 0, &kept);
        ASSERT_EQ(fault == nullptr, row.kept != k_refused);
        if (fault == nullptr) {
            EXPECT_EQ(kept, row.kept);
        }
    }
}

TEST(CmdsValues, FreeTextIsAsLongAsItsTypeOrItsCommandLets) {
    std::string kept;
    for (const auto &[type, longest] : {std::pair{"STRINGS", 64}, {"VIEW_NAME_32", 32}, {"URL_PATH", 128}}) {
        const std::string most(static_cast<size_t>(longest), 'x');
        EXPECT_EQ(cmds_keep_value(type, most, 0, &kept), nullptr) << type;
        EXPECT_NE(cmds_keep_value(type, most + "x", 0, &kept), nullptr) << type;
    }
    EXPECT_EQ(cmds_keep_value("STRINGS", "12345", 5, &kept), nullptr);
    EXPECT_NE(cmds_keep_value("STRINGS", "123456", 5, &kept), nullptr);
    EXPECT_EQ(cmds_keep_value("HEX_VALUE", "0x0fFFF", 4, &kept), nullptr);
    EXPECT_NE(cmds_keep_value("HEX_VALUE", "10000", 4, &kept), nullptr);
    EXPECT_EQ(cmds_keep_value("IPADDR", "10.0.0.1", 4, &kept), nullptr);
}

} // namespace
