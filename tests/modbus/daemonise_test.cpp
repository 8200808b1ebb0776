#include "modbus/daemonise.h"

#include "tests/support/eventually.h"
#include "tests/support/private_scenario.h"
#include "tests/support/proc_status.h"

#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <sstream>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

// The SIGTERM handler ends the process with exit(), which the thread sanitizer would otherwise turn into a
// failure.
extern "C" const char *__tsan_default_options() { return "report_signal_unsafe=0:report_thread_leaks=0"; }

namespace {

constexpr const char *k_pid_file = "/var/run/modbus.pid";
constexpr const char *k_log = "/tmp/modbus.log";

std::string content(const std::string &path) {
    std::ostringstream text;
    text << std::ifstream(path).rdbuf();
    return text.str();
}

/// Runs daemonise; the detached process says that it got through by a file, whose number is returned, and
/// waits to be ended.
pid_t start_detached(const char *done_file) {
    const pid_t self = ::getpid();
    daemonise();
    if (::getpid() != self) {
        std::ofstream(done_file) << ::getpid() << '\n';
        for (;;) {
            ::pause();
        }
    }
    pid_t pid = -1;
    EXPECT_TRUE(eventually([&] { return static_cast<bool>(std::ifstream(done_file) >> pid); })) << done_file;
    return pid;
}

void check_detached(pid_t pid) {
    const std::string proc = "/proc/" + std::to_string(pid);
    EXPECT_EQ(pid, ::getsid(pid));
    EXPECT_EQ("/run", std::filesystem::read_symlink(proc + "/cwd").string());
    for (const char *fd : {"/fd/0", "/fd/1", "/fd/2"}) {
        EXPECT_EQ("/dev/null", std::filesystem::read_symlink(proc + fd).string());
    }
    const uint64_t ignored = std::stoull(proc_status(proc, "SigIgn:"), nullptr, 16);
    for (const int signal_number : {SIGCHLD, SIGTSTP, SIGTTOU, SIGTTIN}) {
        EXPECT_TRUE((ignored >> (signal_number - 1)) & 1) << signal_number;
    }
    struct stat info = {};
    EXPECT_EQ(0, ::stat(k_pid_file, &info));
    EXPECT_EQ(0640U, info.st_mode & 0777);
}

void daemonise_scenario() {
    ::umask(0);
    const pid_t first = start_detached("/tmp/first");
    EXPECT_EQ(std::to_string(first) + "\n", content(k_pid_file));
    check_detached(first);

    start_detached("/tmp/second"); // cannot lock, and keeps running
    EXPECT_EQ(std::to_string(first) + "\n", content(k_pid_file));

    ::kill(first, SIGHUP);
    EXPECT_TRUE(eventually([] { return content(k_log) == "hangup signal catched\n"; }));
    ::kill(first, SIGTERM);
    int status = -1;
    EXPECT_EQ(first, ::waitpid(first, &status, 0));
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
    EXPECT_EQ("hangup signal catched\nterminate signal catched\n", content(k_log));

    std::ofstream(k_pid_file) << "1234567890123\n"; // kept, and not cut to the new number
    const pid_t third = start_detached("/tmp/third");
    EXPECT_EQ(std::to_string(third) + "\n" +
                  std::string("1234567890123\n").substr(std::to_string(third).size() + 1),
              content(k_pid_file));
    for (const char *file : {"/tmp/second", "/tmp/third"}) {
        pid_t pid = 0;
        std::ifstream(file) >> pid;
        EXPECT_EQ(0, ::kill(pid, SIGKILL)) << file;
    }
}

} // namespace

TEST(Daemonise, DetachesLocksItsPidFileAndLogsSignals) { with_private({"/run", "/tmp"}, daemonise_scenario); }

TEST(LogLine, AppendsAndRefusesWhatSomebodyPlanted) {
    with_private({"/tmp"}, [] {
        log_line("/tmp/log", "one");
        log_line("/tmp/log", "100%s");
        EXPECT_EQ("one\n100%s\n", content("/tmp/log"));

        std::ofstream("/tmp/victim") << "kept";
        std::filesystem::create_symlink("/tmp/victim", "/tmp/symbolic");
        std::filesystem::create_hard_link("/tmp/victim", "/tmp/hard");
        ASSERT_EQ(0, ::mkfifo("/tmp/fifo", 0600));
        for (const char *planted : {"/tmp/symbolic", "/tmp/hard", "/tmp/fifo", "/tmp/no/directory"}) {
            log_line(planted, "text");
        }
        EXPECT_EQ("kept", content("/tmp/victim"));
    });
}
