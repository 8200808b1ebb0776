// The log lines, the list and the hash table that the library shares.

#include "lib/base/log.h"
#include "lib/ipc/ipc_hash.h"
#include "lib/ipc/ipc_list.h"
#include "tests/support/syslog_capture.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <gtest/gtest.h>
#include <syslog.h>
#include <thread>

TEST(IpcLog, EveryPriorityArrivesUnderTheIdent) {
    errno = EAGAIN;
    ipc_log_err("%s: %d", "e", 1);
    ipc_log_warn("%s", "100%d");
    ipc_log_notice("n");
    ipc_log_info("i");
    ipc_log_debug("d");
    ipc_log_alloc_limit();
    EXPECT_EQ(EAGAIN, errno) << "callers look at it after a log line";
    const char *crossed = "Dynamic allocation limit crossed, it may be a memory leak in the daemon\n";
    const std::pair<int, const char *> expected[] = {{LOG_ERR, "e: 1"}, {LOG_WARNING, "100%d"},
                                                     {LOG_NOTICE, "n"}, {LOG_INFO, "i"},
                                                     {LOG_DEBUG, "d"},  {LOG_DEBUG, crossed}};
    const std::vector<syslog_line> lines = syslog_take();
    ASSERT_EQ(std::size(expected), lines.size());
    EXPECT_EQ("zop_serv", lines[0].ident);
    EXPECT_EQ(LOG_PID | LOG_CONS | LOG_NDELAY, lines[0].options);
    EXPECT_EQ(LOG_SYSLOG, lines[0].facility);
    for (size_t i = 0; i < lines.size(); ++i) {
        EXPECT_EQ(expected[i].first, lines[i].priority);
        EXPECT_EQ(expected[i].second, lines[i].text);
    }
}

TEST(IpcLog, LinesOfManyThreadsComeWholeAndNotFasterThanTheLimit) {
    constexpr auto k_rest = std::chrono::microseconds(350 * 1000000 / 450); // after the burst, at the rate
    const auto start = std::chrono::steady_clock::now();
    const auto write_many = [] {
        for (int i = 0; i < 200; ++i) {
            ipc_log_info("line");
        }
    };
    std::thread other(write_many);
    write_many();
    other.join();
    const std::vector<syslog_line> lines = syslog_take();
    EXPECT_GE(std::chrono::steady_clock::now() - start, k_rest);
    EXPECT_EQ(400, std::ranges::count(lines, "zop_serv", &syslog_line::ident));
}

TEST(IpcList, DeletesTheFirstHolderAndAllWithTheirData) {
    ipc_list list{};
    char *const words[] = {strdup("a"), strdup("b"), strdup("c")};
    for (const size_t i : {1U, 0U, 1U, 2U}) {
        EXPECT_TRUE(ipc_list_add(&list, words[i]));
    }
    EXPECT_FALSE(ipc_list_add(&list, nullptr));
    EXPECT_TRUE(ipc_list_delete(&list, words[1]));
    EXPECT_EQ(words[0], list.head->data); // NOLINT(clang-analyzer-unix.Malloc): the list owns them
    EXPECT_FALSE(ipc_list_delete(&list, "c"));
    EXPECT_EQ(3U, list.count);
    ipc_list_delete_all(&list); // the address sanitizer sees whether each was freed once
    EXPECT_EQ(0U, list.count);
}

TEST(IpcHash, NewEntriesComeToTheHeadOfTheirChain) {
    const auto key = [](const void *data) { return *static_cast<const uintptr_t *>(data); };
    const auto same = [](const void *a, const void *b) { return a == b; };
    const auto keep = [](const void *data) { return const_cast<void *>(data); };
    static ipc_hash *hash = ipc_hash_new(1011, key, same);
    const uintptr_t second = UINTPTR_MAX; // its low 32 bits name another bucket
    const uintptr_t first = UINTPTR_MAX % 1011;
    EXPECT_EQ(nullptr, ipc_hash_get(hash, &first, nullptr));
    EXPECT_EQ(nullptr, ipc_hash_get(hash, &first, [](const void *) -> void * { return nullptr; }));
    for (const uintptr_t *data : {&first, &second, &first}) {
        EXPECT_EQ(data, ipc_hash_get(hash, data, keep));
    }
    EXPECT_EQ(2U, hash->count);
    EXPECT_EQ(&second, hash->index[first]->data);
    EXPECT_EQ(&first, hash->index[first]->next->data);
}
