#include "modbus/mb.h"
#include "modbus/startup.h"
#include "tests/support/eventually.h"
#include "tests/support/modbus_client.h"
#include "tests/support/private_mounts.h"
#include "tests/support/slave_process.h"

#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <functional>
#include <future>
#include <gtest/gtest.h>
#include <sstream>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
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

/// Runs daemonise; the detached process says that it got through by a file and waits to be ended.
void start_detached(const char *done_file) {
    const pid_t self = ::getpid();
    daemonise();
    if (::getpid() != self) {
        std::ofstream(done_file) << ::getpid() << '\n';
        for (;;) {
            ::pause();
        }
    }
}

pid_t pid_in(const char *path) {
    pid_t pid = -1;
    EXPECT_TRUE(eventually([&] { return static_cast<bool>(std::ifstream(path) >> pid); })) << path;
    return pid;
}

uint64_t ignored_signals(pid_t pid) {
    std::ifstream status("/proc/" + std::to_string(pid) + "/status");
    std::string word;
    while (status >> word && word != "SigIgn:") {
    }
    uint64_t mask = 0;
    status >> std::hex >> mask;
    return mask;
}

int64_t thread_count() {
    const std::filesystem::directory_iterator tasks("/proc/self/task");
    return std::distance(begin(tasks), end(tasks));
}

/// The main thread and those that a sanitizer or an emulator starts with a program's first thread.
int64_t threads_beside_the_tests() {
    std::promise<void> counted;
    std::thread first([&] { counted.get_future().wait(); });
    const int64_t count = thread_count() - 1;
    counted.set_value();
    first.join();
    return count;
}

/// How often a thread of this process has waited.
int64_t waits_of(pid_t thread) {
    std::ifstream status("/proc/self/task/" + std::to_string(thread) + "/status");
    std::string word;
    while (status >> word && word != "voluntary_ctxt_switches:") {
    }
    int64_t count = -1;
    status >> count;
    return count;
}

void check_detached(pid_t pid, const std::string &tail) {
    EXPECT_EQ(std::to_string(pid) + "\n" + tail, content(k_pid_file));
    EXPECT_EQ(pid, ::getsid(pid));
    EXPECT_EQ("/run", std::filesystem::read_symlink("/proc/" + std::to_string(pid) + "/cwd").string());
    for (const char *fd : {"0", "1", "2"}) {
        EXPECT_EQ("/dev/null",
                  std::filesystem::read_symlink("/proc/" + std::to_string(pid) + "/fd/" + fd).string());
    }
    const uint64_t ignored = ignored_signals(pid);
    for (const int signal_number : {SIGCHLD, SIGTSTP, SIGTTOU, SIGTTIN}) {
        EXPECT_TRUE((ignored >> (signal_number - 1)) & 1) << signal_number;
    }
    const int fd = ::open(k_pid_file, O_RDWR | O_CLOEXEC);
    EXPECT_EQ(-1, ::lockf(fd, F_TLOCK, 0));
    ::close(fd);
}

void daemonise_scenario() {
    ::umask(0);
    std::ofstream(k_pid_file) << "1234567890123\n";
    start_detached("/tmp/first");
    const pid_t first = pid_in("/tmp/first");
    check_detached(first, std::string("1234567890123\n").substr(std::to_string(first).size() + 1));

    start_detached("/tmp/second"); // cannot lock, and keeps running
    const pid_t second = pid_in("/tmp/second");
    EXPECT_EQ(first, pid_in(k_pid_file));
    EXPECT_EQ(0, ::kill(second, 0));

    ::kill(first, SIGHUP);
    EXPECT_TRUE(eventually([] { return content(k_log) == "hangup signal catched\n"; }));
    ::kill(first, SIGTERM);
    int status = -1;
    EXPECT_EQ(first, ::waitpid(first, &status, 0));
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
    EXPECT_EQ("hangup signal catched\nterminate signal catched\n", content(k_log));
    EXPECT_TRUE(std::filesystem::exists(k_pid_file));
    ::kill(second, SIGKILL);
    ::waitpid(second, nullptr, 0);
}

} // namespace

TEST(Daemonise, DetachesLocksItsPidFileAndLogsSignals) {
    const pid_t pid = ::fork();
    if (pid == 0) {
        constexpr int k_not_possible_here = 77;
        if (!with_empty_directories({"/run", "/tmp"})) {
            ::_exit(k_not_possible_here);
        }
        daemonise_scenario();
        ::_exit(HasFailure() ? 1 : 0);
    }
    int status = -1;
    ::waitpid(pid, &status, 0);
    ASSERT_TRUE(WIFEXITED(status)) << status;
    if (WEXITSTATUS(status) == 77) {
        GTEST_SKIP() << "no private mounts on this machine";
    }
    EXPECT_EQ(0, WEXITSTATUS(status));
}

TEST(LogLine, AppendsAndRefusesWhatSomebodyPlanted) {
    char directory[] = "/tmp/log-line-XXXXXX";
    ASSERT_NE(nullptr, ::mkdtemp(directory));
    const std::string base = directory;
    log_line((base + "/log").c_str(), "one");
    log_line((base + "/log").c_str(), "100%s");
    EXPECT_EQ("one\n100%s\n", content(base + "/log"));

    std::ofstream(base + "/victim") << "kept";
    std::filesystem::create_symlink(base + "/victim", base + "/symbolic");
    std::filesystem::create_hard_link(base + "/victim", base + "/hard");
    ASSERT_EQ(0, ::mkfifo((base + "/fifo").c_str(), 0600));
    for (const char *planted : {"/symbolic", "/hard", "/fifo", "/no/such/directory"}) {
        log_line((base + planted).c_str(), "text");
    }
    EXPECT_EQ("kept", content(base + "/victim"));
    std::filesystem::remove_all(base);
}

TEST(RunState, AForkNeverInheritsItsMutexLocked) {
    ASSERT_FALSE((set_run_state(k_run_polling), start_poll_thread())); // not idle: starts nothing
    std::atomic<bool> stop = false;
    std::thread writer([&] {
        while (!stop) {
            set_run_state(k_run_polling);
        }
    });
    for (int i = 0; i < 300; i++) {
        const pid_t pid = ::fork();
        if (pid == 0) {
            ::alarm(10); // ends the child if the mutex is never released
            ::_exit(get_run_state());
        }
        int status = -1;
        ::waitpid(pid, &status, 0);
        ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == k_run_polling) << "fork " << i;
    }
    stop = true;
    writer.join();
    set_run_state(k_run_idle);
}

TEST(PollThread, KeepsTheRunStateAndIsReplacedWhenItEnds) {
    in_fresh_process([] {
        const int64_t own_threads = threads_beside_the_tests();
        // Without a stack the thread ends at once, and leaves the state idle for the next one.
        set_run_state(k_run_idle);
        for (int i = 0; i < 2; i++) {
            EXPECT_TRUE(start_poll_thread());
            EXPECT_TRUE(
                eventually([&] { return thread_count() == own_threads && get_run_state() == k_run_idle; }));
        }
        ASSERT_EQ(k_mb_ok, mb_tcp_init(free_port()));
        EXPECT_TRUE(start_poll_thread());
        EXPECT_TRUE(eventually([] { return get_run_state() == k_run_polling; }));
        EXPECT_FALSE(start_poll_thread());
        EXPECT_EQ(own_threads + 1, thread_count());
        EXPECT_TRUE(eventually([] { return mb_enable() == k_mb_illegal_state; })); // it has enabled the stack
    });
}

TEST(PollThread, ItsSupervisorSleepsUntilItEnds) {
    in_fresh_process([] {
        ASSERT_EQ(k_mb_ok, mb_tcp_init(free_port()));
        std::promise<pid_t> id;
        std::thread([&] {
            id.set_value(::gettid());
            supervise_poll_thread();
        }).detach();
        const pid_t supervisor = id.get_future().get();
        ASSERT_TRUE(eventually([] { return get_run_state() == k_run_polling; }));
        int64_t before = -1;
        int64_t after = 0;
        ASSERT_TRUE(eventually([&] { // it may be in its first pause still
            before = waits_of(supervisor);
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
            after = waits_of(supervisor);
            return before == after;
        })) << before
            << ' ' << after;
        set_run_state(k_run_idle);
        EXPECT_TRUE(eventually([] { return get_run_state() == k_run_polling; })) << "by the next thread";
    });
}

TEST(IsPrintable, TakesTheLowByte) {
    for (const int yes : {0, 32, 126, 0x141, 0x100}) {
        EXPECT_TRUE(is_printable(yes)) << yes;
    }
    for (const int no : {1, 31, 127, 128, 255, 0x11F}) {
        EXPECT_FALSE(is_printable(no)) << no;
    }
}
