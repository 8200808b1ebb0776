// The log as its service sees it, one that does not read at first.

#include "lib/base/log.h"
#include "tests/support/log_socket.h"
#include "tests/support/private_scenario.h"

#include <gmock/gmock.h>
#include <string>
#include <string_view>

namespace {

constexpr int k_lines = 1000; // more than the queue and any socket's own hold
constexpr std::string_view k_count = "log lines left out: ";

/// One line, which has a datagram or a connection of its own.
std::string take_line(const unique_fd &log, int type) {
    char text[4096];
    const unique_fd accepted(type == SOCK_STREAM ? accept(log.get(), nullptr, nullptr) : -1);
    const ssize_t size = recv(accepted.valid() ? accepted.get() : log.get(), text, sizeof text, 0);
    return {text, static_cast<size_t>(std::max<ssize_t>(size, 0))};
}

void stop_and_go_on(int type) {
    const unique_fd log = listen_as_log(type);
    for (int i = 0; i < k_lines; i++) {
        ipc_log_info("line %d.", i);
    }
    EXPECT_FALSE(ipc_log_flush(10));
    const std::string start = "zop_serv[" + std::to_string(getpid()) + "]: ";
    int arrived = 0;
    int left_out = 0;
    int last = -1;
    while (arrived + left_out < k_lines) {
        const std::string line = take_line(log, type);
        ASSERT_THAT(line, testing::AnyOf(testing::StartsWith("<46>"), testing::StartsWith("<44>")));
        const size_t at = line.find(start);
        ASSERT_NE(std::string::npos, at);
        const std::string text = line.substr(at + start.size());
        if (text.starts_with(k_count)) {
            left_out += std::stoi(text.substr(k_count.size()));
            continue;
        }
        ASSERT_TRUE(text.starts_with("line ")) << text;
        const int number = std::stoi(text.substr(5));
        EXPECT_TRUE(arrived < 50 ? number == arrived : number > last) << number << " behind " << last;
        last = number;
        arrived++;
    }
    EXPECT_GE(arrived, 50);
    ipc_log_err("%s", std::string(3000, 'x').c_str());
    EXPECT_THAT(take_line(log, type), testing::HasSubstr("<43>")) << "and the log goes on";
}

} // namespace

TEST(IpcLogService, AStoppedOneHoldsNobodyAndHearsWhatItMissed) {
    for (const int type : {SOCK_DGRAM, SOCK_STREAM}) {
        SCOPED_TRACE(type);
        with_private({"/dev"}, [type] { stop_and_go_on(type); });
    }
}
