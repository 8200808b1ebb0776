// The scheduler of callbacks, with a select that the tests can answer.

#include "lib/ipc/ipc_signal.h"
#include "lib/ipc/ipc_thread.h"
#include "lib/ipc/ipc_thread_cpu.h"
#include "lib/ipc/ipc_time.h"
#include "tests/support/syslog_capture.h"

#include <cerrno>
#include <csignal>
#include <cstring>
#include <functional>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

using texts = std::vector<std::string>;

constexpr int64_t k_no_limit = -1;
constexpr int k_go_on = -2; // as an answer: the real select is called now
std::function<int(int descriptors, int64_t timeout_us)> s_on_select; // answers select where it is given

texts s_ran; // what ran, by the names in the tasks' arguments

int note(::thread *task) {
    s_ran.emplace_back(static_cast<const char *>(task->arg));
    return 0;
}

void *name(const char *text) { return const_cast<char *>(text); }

int64_t elapsed_us(const timeval &since) {
    timeval now{};
    monotonic_now(&now);
    return timeval_elapsed_us(now, since);
}

int work_for(::thread *task) {
    for (int64_t us = 0; us <= task->u.val;) {
        const int64_t before = us;
        const bool yields = thread_should_yield_now(task);
        us = elapsed_us(task->real);
        EXPECT_TRUE(yields ? us > 10000 : before <= 10000) << before << " " << us;
    }
    return -1;
}

} // namespace

extern "C" int select(int nfds, fd_set *readfds, fd_set *writefds, fd_set *exceptfds, timeval *timeout) {
    const int64_t us = timeout != nullptr ? timeval_elapsed_us(*timeout, {}) : k_no_limit;
    const int answer = s_on_select ? s_on_select(nfds, us) : k_go_on;
    if (answer != k_go_on) {
        return answer;
    }
    timespec wait{};
    wait.tv_sec = static_cast<time_t>(us / 1000000);
    wait.tv_nsec = static_cast<decltype(wait.tv_nsec)>(us % 1000000 * 1000);
    return pselect(nfds, readfds, writefds, exceptfds, timeout != nullptr ? &wait : nullptr, nullptr);
}

class Scheduler : public testing::Test {
protected:
    Scheduler() {
        s_ran.clear();
        syslog_take();
        s_masters->push_back(m);
        EXPECT_EQ(0, pipe(fds));
        EXPECT_EQ(1, write(fds[1], "x", 1)); // one end is readable, the other writable
    }
    ~Scheduler() override {
        s_on_select = nullptr;
        close(fds[0]);
        close(fds[1]);
    }
    texts run(size_t tasks) {
        s_ran.clear();
        for (size_t i = 0; i < tasks && thread_fetch_next(m, &task) != nullptr; ++i) {
            thread_invoke(&task);
        }
        return s_ran;
    }
    [[nodiscard]] bool waits_for_pipe() const {
        return FD_ISSET(fds[0], &m->readfd) || FD_ISSET(fds[1], &m->writefd);
    }

    int fds[2]{};
    ::thread task{};
    scheduler_master *m = scheduler_master_create();
    static inline auto *s_masters = new std::vector<scheduler_master *>; // never freed, and no leak
};

TEST_F(Scheduler, OnePassRunsByKindAndThenInTheOrderAdded) {
    const int other = dup(fds[0]);
    thread_add_background(m, note, name("background"), 0);
    thread_add_write(m, note, name("write"), fds[1]);
    thread_add_read(m, note, name("never"), fds[1]);
    thread_add_read(m, note, name("read 1"), other);
    thread_add_read(m, note, name("read 2"), fds[0]);
    thread_add_timer(m, note, name("timer"), 0);
    thread_add_event(m, note, name("event 1"), 0);
    thread_add_event(m, note, name("event 2"), 0);
    const texts order = {"event 1", "event 2", "timer", "read 1", "read 2", "write", "background"};
    EXPECT_EQ(order, run(order.size()));
    EXPECT_TRUE(!waits_for_pipe() && m->read.count == 1);
    close(other);
    thread_add_read(m, note, name("again"), fds[0]); // a task runs once, and its record is used again
    EXPECT_EQ(texts{"again"}, run(1));
    EXPECT_EQ(order.size() + 1, m->alloc);
}

TEST_F(Scheduler, TimersRunByDeadlineAndTheLastOfEqualsFirst) {
    const std::pair<const char *, int32_t> timers[] = {
        {"-5", -5}, {"-1", -1}, {"-8", -8}, {"-3", -3}, {"zero", INT32_MIN}, {"late zero", INT32_MIN},
        {"99", 99}};
    for (const auto &[text, seconds] : timers) {
        thread_add_timer(m, note, name(text), seconds);
    }
    EXPECT_EQ(0, timeval_compare(m->timer.head->u.sands, {})); // before the clock's zero
    EXPECT_EQ(0U, thread_timer_remain_seconds(m->timer.head));
    EXPECT_NEAR(98, thread_timer_remain_seconds(m->timer.tail), 1);
    EXPECT_EQ((texts{"late zero", "zero", "-8", "-5", "-3", "-1"}), run(6));
}

TEST_F(Scheduler, MillisecondsBecomeSecondsAndMicroseconds) {
    for (const int32_t msec : {1001500, 999}) {
        timeval before{};
        monotonic_now(&before);
        for (const ::thread *added :
             {thread_add_timer_msec(m, note, nullptr, msec), thread_add_background(m, note, nullptr, msec)}) {
            EXPECT_LE(msec * 1000, timeval_elapsed_us(added->u.sands, before));
            EXPECT_GE(msec * 1000 + elapsed_us(before), timeval_elapsed_us(added->u.sands, before));
        }
    }
    const std::pair<timeval, timeval> carried[] = {{{1, 999999}, {1, 999999}}, {{1, 1000000}, {2, 0}},
                                                   {{1, -1}, {0, 999999}},     {{1, -1000000}, {0, 0}},
                                                   {{0, -1}, {0, 0}},          {{-1, 1000001}, {0, 1}}};
    for (const auto &[time, normal] : carried) {
        EXPECT_EQ(0, timeval_compare(normal, timeval_normalise(time))) << time.tv_sec << " " << time.tv_usec;
    }
}

TEST_F(Scheduler, DescriptorIsWaitedForOnce) {
    for (const auto &[fd, accepted] :
         {std::pair(0, true), {0, false}, {1023, true}, {-1, false}, {1024, false}}) {
        EXPECT_EQ(accepted, thread_add_read(m, note, nullptr, fd) != nullptr) << fd;
        EXPECT_EQ(accepted, thread_add_write(m, note, nullptr, fd) != nullptr) << fd;
    }
    EXPECT_EQ((texts{"4 There is already read fd [0]", "4 There is already write fd [0]",
                     "4 Cannot wait to read fd [-1]", "4 Cannot wait to write fd [-1]",
                     "4 Cannot wait to read fd [1024]", "4 Cannot wait to write fd [1024]"}),
              syslog_take_texts());
    EXPECT_EQ(4U, m->alloc) << "a refused task must take no record";
}

TEST_F(Scheduler, CancelTakesBackFromEveryState) {
    uint32_t unused = 0;
    for (::thread *taken :
         {thread_add_read(m, note, nullptr, fds[0]), thread_add_write(m, note, nullptr, fds[1]),
          thread_add_timer(m, note, nullptr, 0), thread_add_event(m, note, nullptr, 0),
          thread_add_background(m, note, nullptr, 0)}) {
        thread_cancel(taken);
        thread_cancel(taken); // without effect
        EXPECT_TRUE(taken->type == k_thread_unused && m->unuse.count == ++unused);
    }
    EXPECT_EQ(0U, m->read.count + m->write.count + m->timer.count + m->event.count + m->background.count);
    EXPECT_FALSE(waits_for_pipe());
    thread_cancel(nullptr); // as whoever forgets a task sets it to null

    ::thread *ready = thread_add_read(m, note, nullptr, fds[0]);
    thread_add_event(m, note, name("event"), 0);
    EXPECT_EQ(texts{"event"}, run(1));
    ASSERT_TRUE(ready->type == k_thread_ready && ready->add_type == k_thread_read);
    thread_add_read(m, note, name("anew"), fds[0]);
    thread_cancel(ready);
    EXPECT_TRUE(waits_for_pipe()) << "the bit is the other task's by now";
    EXPECT_EQ(texts{"anew"}, run(1));
}

TEST_F(Scheduler, CancelByArgumentTakesEventsAndAllThatIsReady) {
    void *mine = name("mine");
    thread_add_event(m, note, name("first"), 0);
    thread_add_event(m, note, mine, 0);
    thread_add_timer(m, note, mine, 0);
    thread_add_timer(m, note, name("other"), 0);
    EXPECT_EQ(texts{"first"}, run(1)); // the others are ready now
    thread_add_event(m, note, mine, 0);
    thread_add_event(m, note, name("last"), 0);
    thread_add_timer(m, note, mine, 60);
    EXPECT_EQ(3U, thread_cancel_event_by_arg(m, mine));
    EXPECT_EQ((texts{"other", "last"}), run(2));
    EXPECT_EQ(1U, m->timer.count);
}

TEST_F(Scheduler, WaitsUntilTheFirstDeadlineAndPollsForEvents) {
    int error = EBADF;
    const auto waited = [&] { // in seconds, up to the next 50
        int64_t us = 0;
        s_on_select = [&](int descriptors, int64_t timeout_us) {
            EXPECT_EQ(1024, descriptors);
            us = timeout_us;
            errno = error;
            return -1;
        };
        EXPECT_EQ(nullptr, thread_fetch_next(m, &task)); // a failing select ends the fetch
        return us == k_no_limit ? us : (us + 49999999) / 50000000 * 50;
    };
    EXPECT_EQ(k_no_limit, waited());
    thread_add_background(m, note, nullptr, 500000);
    EXPECT_EQ(500, waited());
    ::thread *timer = thread_add_timer(m, note, nullptr, 200);
    EXPECT_EQ(200, waited());
    thread_cancel(timer);
    thread_add_timer(m, note, nullptr, 900);
    thread_add_event(m, note, name("event"), 0);
    syslog_take();
    EXPECT_EQ(0, waited());
    EXPECT_EQ(texts{"event"}, run(1)); // ready since then
    error = 9999;
    EXPECT_EQ(500, waited());
    EXPECT_EQ((texts{"4 select() error: Bad file descriptor", "4 select() error: Unknown error"}),
              syslog_take_texts());
}

TEST_F(Scheduler, InterruptedWaitRunsTheHandlerAndKeepsItsLimit) {
    static scheduler_master *s_master = m;
    ASSERT_EQ(0, ipc_signal_catch(SIGUSR1, [](int) { thread_add_event(s_master, note, name("event"), 0); }));
    thread_add_timer(m, note, name("timer"), 30);
    std::vector<int64_t> waits;
    s_on_select = [&](int, int64_t timeout_us) {
        waits.push_back(timeout_us);
        raise(SIGUSR1);
        EXPECT_EQ(0U, m->event.count) << "the handler ran in the catcher";
        errno = EINTR;
        return waits.size() == 1 ? -1 : 0;
    };
    EXPECT_EQ(texts{"event"}, run(1));
    ipc_signal_process();
    ASSERT_EQ(2U, waits.size());
    EXPECT_EQ(waits[0], waits[1]);
}

TEST_F(Scheduler, ASignalJustBeforeTheWaitIsNotLeftUntilItsEnd) {
    static scheduler_master *s_master = m;
    ASSERT_EQ(0,
              ipc_signal_catch(SIGUSR1, [](int) { thread_add_timer(s_master, note, name("handler"), 0); }));
    thread_add_timer(m, note, name("timer"), 30);
    s_on_select = [raised = false](int, int64_t) mutable { // after the pass's look at the signals
        return std::exchange(raised, true) || raise(SIGUSR1) == 0 ? k_go_on : -1;
    };
    EXPECT_EQ(texts{"handler"}, run(1));
    thread_cancel(m->timer.head); // now nothing else ends the wait
    std::thread other([] { raise(SIGUSR1); });
    EXPECT_EQ(texts{"handler"}, run(1));
    other.join();
}

TEST_F(Scheduler, DeferredHandlersRunOnceInNumberOrder) {
    ipc_signal_handler *handler = [](int signo) { s_ran.push_back(std::to_string(signo)); };
    for (const auto &[signo, result] :
         {std::pair(SIGUSR2, 0), {SIGHUP, 0}, {0, -1}, {NSIG, -1}, {SIGKILL, -1}}) {
        EXPECT_EQ(result, ipc_signal_catch(signo, handler)) << signo;
    }
    for (const int signo : {SIGUSR2, SIGHUP, SIGUSR2}) {
        raise(signo);
    }
    EXPECT_EQ(2, ipc_signal_process());
    EXPECT_EQ((texts{std::to_string(SIGHUP), std::to_string(SIGUSR2)}), s_ran);
    EXPECT_EQ(0, ipc_signal_process());
}

TEST_F(Scheduler, NameIsStoredWithoutParentheses) {
    const std::string full(63, 'n');
    const std::pair<std::string, std::string> cases[] = {
        {"", ""},         {"(", ""},    {")", ""},           {" ( ) ", ""},
        {"( (f) )", "f"}, {full, full}, {full + "nn", full}, {"(" + full.substr(1) + ")", full.substr(1)}};
    for (const auto &[given, stored] : cases) {
        char dest[k_thread_name_size];
        std::fill(std::begin(dest), std::end(dest), '#');
        funcname_strip(dest, std::vector(given.c_str(), given.c_str() + given.size() + 1).data());
        EXPECT_EQ(stored, std::string(dest, strnlen(dest, sizeof dest)));
    }
    EXPECT_STREQ("note", thread_add_event(m, (note), nullptr, 0)->funcname);
}

TEST_F(Scheduler, InvocationsAreCounted) {
    for (const auto &[us, as] : {std::pair(20000, "(first name)"), std::pair(5000, "other")}) {
        funcname_thread_add_event(m, work_for, nullptr, us, as);
        ASSERT_EQ(&task, thread_fetch_next(m, &task));
        EXPECT_EQ(nullptr, task.hist);
        thread_invoke(&task);
    }
    EXPECT_EQ(0, thread_run_now(nullptr, work_for, nullptr, 0));
    const thread_cpu_history &entry = *task.hist;
    EXPECT_EQ(3U, entry.total_calls);
    EXPECT_EQ((1U << k_thread_event) | (1U << k_thread_execute), entry.types);
    EXPECT_STREQ("first name", entry.funcname);
    EXPECT_TRUE(entry.real_max >= 20000 && entry.real_max <= entry.real_total - 5000);
    EXPECT_TRUE(entry.cpu_max > 0 && entry.cpu_max < entry.cpu_total);
}

// The framework runs this before the others, which create masters.
TEST(SchedulerDeathTest, RunNowNeedsNoMaster) {
    const auto look = [](::thread *task) {
        EXPECT_EQ(std::tuple(k_thread_event, k_thread_execute, 42),
                  std::tuple(task->type, task->add_type, task->u.val));
        EXPECT_EQ(nullptr, task->master);
        return 0;
    };
    EXPECT_EQ(0, thread_run_now(nullptr, look, nullptr, 42));
}

TEST_F(Scheduler, BrokenInvariantsAbort) {
    ::thread *reader = thread_add_read(m, note, nullptr, 0);
    ::thread copy = *thread_add_event(m, note, nullptr, 0);
    const timeval time{};
    const std::pair<std::function<void()>, const char *> cases[] = {
        {[&] { thread_add_read(nullptr, note, nullptr, 0); }, "m != ((void *)0)"},
        {[&] { thread_add_event(nullptr, note, nullptr, 0); }, "m != ((void *)0)"},
        {[&] { thread_add_timer_timeval(m, note, nullptr, &time, 3); }, "type == 2 || type == 5"},
        {[&] { thread_add_timer_timeval(m, note, nullptr, nullptr, 2); }, "time_relative"},
        {[&] { thread_add_unuse(m, nullptr); }, "m != ((void *)0) && thread != ((void *)0)"},
        {[&] { copy.next = reader, thread_add_unuse(m, &copy); }, "thread->next == ((void *)0)"},
        {[&] { copy.prev = reader, thread_add_unuse(m, &copy); }, "thread->prev == ((void *)0)"},
        {[&] { thread_add_unuse(m, &copy); }, "thread->type == 6"},
        {[&] { thread_cancel(&copy); }, "the task is on its list"},
        {[&] { FD_CLR(0, &m->readfd), thread_cancel(reader); }, "FD_ISSET(fd, kind.set)"}};
    for (const auto &[breach, text] : cases) {
        EXPECT_DEATH(breach(), testing::HasSubstr("`" + std::string(text) + "' failed"));
    }
}
