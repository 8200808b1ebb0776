#include "lib/cmds/cmds_jobs.h"

#include "lib/base/result.h"
#include "lib/cli/cli_output.h"
#include "lib/cli/csh_server.h"
#include "lib/cli/evt_chan.h"
#include "lib/cmds/cmds_config.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <unistd.h>

namespace {

struct job {
    int32_t ticket = 0; // 0: free
    program run;
    bool interrupted = false;
    bool lost = false;  // of what it has printed, something
    size_t printed = 0; // bytes
};

// Its client's file is in memory on most boards, and its client reads it whole.
constexpr size_t k_printed_max = size_t{1024} * 1024;

std::array<job, 10> s_jobs = {};

// The process of each job until it is waited for, for the thread that ends this process; 0: none.
std::array<std::atomic<pid_t>, s_jobs.size()> s_alive = {};

std::atomic<pid_t> &alive(const job *one) { return s_alive[static_cast<size_t>(one - s_jobs.data())]; }

template<typename Fits> job *find(Fits fits) {
    auto *const found = std::find_if(s_jobs.begin(), s_jobs.end(), fits);
    return found != s_jobs.end() ? found : nullptr;
}

void end(job *ended) {
    evtChanDel(ended->run.output);
    ::close(ended->run.output);
    ::kill(-ended->run.process, SIGKILL); // what it has started and left behind
    alive(ended) = 0;
    const int status = program_wait(ended->run.process);
    csh_answer(ended->ticket, status == 0 && !ended->lost ? 0 : k_cmds_failed);
    *ended = {};
}

/// Passes on what a program has printed.
void pass_on(int fd) {
    job *const from = find([=](const job &one) { return one.ticket != 0 && one.run.output == fd; });
    std::array<char, 4096> piece{};
    const ssize_t length = ::read(fd, piece.data(), piece.size());
    if (from == nullptr || (length < 0 && (errno == EAGAIN || errno == EINTR))) {
        return;
    }
    if (length <= 0) {
        end(from);
    } else if (csh_select_kept(from->ticket)) {
        from->lost = cli_print("%.*s", static_cast<int>(length), piece.data()) < 0 || from->lost;
        from->printed += static_cast<size_t>(length);
        if (from->printed > k_printed_max) {
            cli_print("\n%% It prints too much, and has been ended\n");
            end(from);
        }
    }
}

int32_t refuse(const program &started) {
    ::close(started.output);
    ::kill(-started.process, SIGKILL);
    ignore_result(program_wait(started.process)); // it has been killed
    return cmds_fail("Too many commands are running");
}

} // namespace

int32_t cmds_jobs_take(const program &started) {
    job *const place = find([](const job &one) { return one.ticket == 0; });
    if (place == nullptr || evtChanAdd(started.output, pass_on) != 0) {
        return refuse(started);
    }
    const int32_t ticket = csh_keep_reply();
    if (ticket == 0) {
        evtChanDel(started.output);
        return refuse(started);
    }
    alive(place) = started.process;
    *place = {ticket, started, false, false, 0};
    return 0;
}

void cmds_jobs_give_up(int32_t ticket) {
    job *const running = find([=](const job &one) { return one.ticket == ticket && ticket != 0; });
    if (running != nullptr) {
        ::kill(-running->run.process, running->interrupted ? SIGKILL : SIGINT);
        running->interrupted = true;
    }
}

void cmds_jobs_finish() {
    for (job &running : s_jobs) {
        if (running.ticket != 0) {
            end(&running);
        }
    }
}

void cmds_jobs_end_all() {
    for (const pid_t process : s_alive) {
        if (process != 0) {
            ::kill(-process, SIGKILL);
        }
    }
}
