// Which counters are found, and which are not believed.

#include "apps/mbstat/figures.h"
#include "apps/mbstat/page.h"
#include "lib/base/unique_fd.h"
#include "modbus/mbcounters.h"
#include "tests/support/children_of.h"
#include "tests/support/eventually.h"
#include "tests/support/modbus_client.h"
#include "tests/support/own_processes.h"
#include "tests/support/slave_process.h"

#include <cstring>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/mman.h>
#include <sys/stat.h>

using testing::HasSubstr;

namespace {

constexpr int k_fixed = F_SEAL_SHRINK | F_SEAL_GROW;

/// Memory such as a daemon has, of `size` bytes that begin with `page`; left open.
void make_memory(const mb_counters_page &page, size_t size = sizeof(mb_counters_page), int seals = k_fixed) {
    const int memory = ::memfd_create(k_mb_counters_name, MFD_ALLOW_SEALING);
    EXPECT_EQ(0, ::ftruncate(memory, static_cast<off_t>(size)));
    const size_t written = std::min(size, sizeof page);
    EXPECT_EQ(static_cast<ssize_t>(written), ::write(memory, &page, written));
    EXPECT_TRUE(seals == 0 || ::fcntl(memory, F_ADD_SEALS, seals) == 0);
}

void fill_head(mb_counters_page &page) {
    page.magic = k_mb_counters_magic;
    page.version = k_mb_counters_version;
    page.size = sizeof page;
    page.process_id = ::getpid();
}

/// Takes the process that holds what was planted away again.
void end(pid_t process_id) {
    ::kill(process_id, SIGKILL);
    ::waitpid(process_id, nullptr, 0);
}

/// Who shares counters as a daemon does.
slave_process make_daemon() {
    return slave_process([] { EXPECT_TRUE(mb_counters_share()); });
}

/// Waits until the daemon serves, and has its counters.
void await(const slave_process &daemon) {
    EXPECT_EQ((octets{0x11}), modbus_client(daemon.port()).exchange({0x11}));
}

} // namespace

TEST(MbStat, FindsTheOneDaemonThatRuns) {
    with_own_processes({}, [] {
        EXPECT_EQ("no modbusd runs", counters_page_find(0).error);
        const slave_process daemon = make_daemon();
        await(daemon);
        const counters_page found = counters_page_find(0);
        ASSERT_NE(nullptr, found.page) << found.error;
        EXPECT_EQ(daemon.pid(), found.page->process_id);
        {
            const slave_process second = make_daemon();
            await(second);
            EXPECT_THAT(counters_page_find(0).error, HasSubstr("several modbusd run"));
            EXPECT_NE(nullptr, counters_page_of(second.pid()).page);
        }
        EXPECT_EQ(daemon.pid(), counters_page_find(0).page->process_id) << "alone again";
    });
}

TEST(MbStat, ADaemonThatHasEndedIsNotShownThoughItsClientsAreServed) {
    with_own_processes({}, [] {
        const slave_process daemon = make_daemon();
        modbus_client client(daemon.port());
        ASSERT_EQ((octets{0x11}), client.exchange({0x11}));
        const pid_t child = children_of(daemon.pid()).at(0);
        EXPECT_EQ("process " + std::to_string(child) + " serves a client of process " +
                      std::to_string(daemon.pid()),
                  counters_page_of(child).error);
        ::kill(daemon.pid(), SIGKILL);
        const std::string name = "process " + std::to_string(daemon.pid());
        EXPECT_TRUE(eventually([&] { return counters_page_find(0).page == nullptr; }));
        EXPECT_THAT(counters_page_find(0).error, HasSubstr("modbusd, " + name + ", has ended"));
        EXPECT_THAT(counters_page_of(daemon.pid()).error, HasSubstr(name + " is no modbusd"));
        EXPECT_EQ((octets{0x11}), client.exchange({0x11})) << "its child lives on";
    });
}

TEST(MbStat, WhatIsNoPageOfThisVersionIsSaidAndNotRead) {
    const struct {
        const char *why;
        void (*make)();
        const char *said;
    } k_cases[] = {
        {"another magic number",
         [] {
             mb_counters_page page = {};
             fill_head(page);
             page.magic++;
             make_memory(page);
         },
         "something else"},
        {"another version",
         [] {
             mb_counters_page page = {};
             fill_head(page);
             page.version = 2;
             make_memory(page);
         },
         "version 2, this program reads version 1"},
        {"another size",
         [] {
             mb_counters_page page = {};
             fill_head(page);
             page.size--;
             make_memory(page);
         },
         "version 1, "},
        {"one byte short",
         [] {
             mb_counters_page page = {};
             fill_head(page);
             make_memory(page, sizeof page - 1);
         },
         "cannot be mapped"},
        {"hardly a beginning",
         [] {
             mb_counters_page page = {};
             fill_head(page);
             make_memory(page, 8);
         },
         "something else"},
        {"memory that can be cut off while it is read",
         [] {
             mb_counters_page page = {};
             fill_head(page);
             make_memory(page, sizeof page, 0);
         },
         "something else"},
    };
    with_own_processes({}, [&] {
        for (const auto &c : k_cases) {
            SCOPED_TRACE(c.why);
            const pid_t holder = bystander(true, c.make);
            EXPECT_THAT(counters_page_find(0).error, HasSubstr(c.said));
            EXPECT_THAT(counters_page_of(holder).error, HasSubstr(c.said));
            const slave_process daemon = make_daemon();
            await(daemon);
            const counters_page found = counters_page_find(0);
            EXPECT_TRUE(found.page != nullptr && found.page->process_id == daemon.pid()) << found.error;
            end(holder);
        }
    });
}

TEST(MbStat, WhatAnotherUserHasMadeFoolsNobody) {
    with_own_processes({}, [] {
        const pid_t holder = bystander(false, [] {
            mb_counters_page page = {};
            fill_head(page);
            make_memory(page);
        });
        EXPECT_EQ("no modbusd runs as root or this user, but process " + std::to_string(holder) +
                      " has counters: see --user and --pid",
                  counters_page_find(0).error);
        EXPECT_NE(nullptr, counters_page_of(holder).page) << "but who is named is looked at";
        EXPECT_NE(nullptr, counters_page_find(k_nobody).page);
        EXPECT_EQ(nullptr, counters_page_find(k_nobody - 1).page);
        const slave_process daemon = make_daemon();
        await(daemon);
        const counters_page found = counters_page_find(0);
        ASSERT_NE(nullptr, found.page) << found.error;
        EXPECT_EQ(daemon.pid(), found.page->process_id);
        end(holder);
    });
}

TEST(MbStat, NobodyElseCanCutOrWriteADaemonsCounters) {
    ASSERT_TRUE(mb_counters_share());
    bool tried = false;
    for (int fd = 0; fd < 64; fd++) {
        char target[64] = {};
        const std::string link = "/proc/self/fd/" + std::to_string(fd);
        if (::readlink(link.c_str(), target, sizeof target - 1) > 0 &&
            std::string(target).find(k_mb_counters_name) != std::string::npos) {
            const unique_fd again(::open(link.c_str(), O_RDWR | O_CLOEXEC));
            EXPECT_NE(0, ::ftruncate(again.get(), 0));
            EXPECT_NE(1, ::write(again.get(), "x", 1));
            EXPECT_EQ(MAP_FAILED, ::mmap(nullptr, 1, PROT_WRITE, MAP_SHARED, again.get(), 0));
            tried = true;
        }
    }
    EXPECT_TRUE(tried);
    EXPECT_EQ(k_mb_counters_magic, mb_counters().magic);
}

TEST(MbStat, FiguresAreSumsOfAllPlacesInTheirUnits) {
    mb_counters_page page = {};
    page.process_id = 321;
    page.started_us = 5'000'000;
    page.open.value = 2;
    for (mb_child_counters &child : page.children) {
        child.read_us.value = 100'000'001;
    }
    page.children[0].requests[3].value = 0x1'0000'0003;
    for (size_t i = 1; i < std::size(page.children); i++) {
        page.children[i].requests[3].value = i == 9 ? 5 : 0;
    }
    page.children[4].slowest_read_us.value = 1'000'009;
    page.children[7].slowest_read_us.value = 999'999;
    const stat_figures figures = stat_figures_of(page, 65'999'999);
    const std::string text = stat_text(figures);
    EXPECT_THAT(text, HasSubstr("\nCounting for        : 60 s\nConnections open    : 2\n"));
    EXPECT_THAT(text, HasSubstr("\nTime they took      : 1000000010 us\nSlowest of them     : 1000009 us\n"));
    EXPECT_THAT(text, HasSubstr("\n0x04   4294967304  read input registers\n"));
    const std::string json = stat_json(figures);
    EXPECT_THAT(json, testing::StartsWith(R"({"process":321,"running_s":60,"open":2,)"));
    EXPECT_THAT(json, HasSubstr(R"({"function":"0x04","requests":4294967304,"meaning")"));
    EXPECT_EQ(1, std::count(json.begin(), json.end(), '\n'));
    const std::string metrics = stat_metrics(figures);
    EXPECT_THAT(metrics, HasSubstr("\nmodbusd_requests_total{function=\"0x04\"} 4294967304\n"));
    EXPECT_THAT(metrics, HasSubstr("\nmodbusd_input_read_seconds_total 1000.000010\n"));
    EXPECT_THAT(metrics, HasSubstr("# TYPE modbusd_input_read_slowest_seconds gauge\n"
                                   "modbusd_input_read_slowest_seconds 1.000009\n"));
}
