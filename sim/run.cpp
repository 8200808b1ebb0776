#include "sim/run.h"

#include "lib/base/folder_handle.h"
#include "lib/base/result.h"
#include "lib/base/unique_fd.h"
#include "sim/paths.h"
#include "sim/state_file.h"
#include "sim/time_service.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr const char *k_mark_name = "SWITCHSIM_RUN";
constexpr uint64_t k_second_ns = 1'000'000'000;
constexpr uint64_t k_patience_ns = 2 * k_second_ns; // for what the program left running, before it is killed
constexpr uint64_t k_look_again_ns = k_second_ns / 20;

sigset_t handled_signals() {
    sigset_t signals;
    ::sigemptyset(&signals);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGCHLD}) {
        ::sigaddset(&signals, signal);
    }
    return signals;
}

/// Waits for one of the handled signals, `limit_ns` at most; 0 when none came.
int wait_signal(const sigset_t &signals, uint64_t limit_ns) {
    if (limit_ns > 3600 * k_second_ns) {
        limit_ns = 3600 * k_second_ns;
    }
    const timespec limit{static_cast<time_t>(limit_ns / k_second_ns),
                         static_cast<long>(limit_ns % k_second_ns)};
    const int signal = ::sigtimedwait(&signals, nullptr, &limit);
    return signal > 0 ? signal : 0;
}

int exit_status(int status) { return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status); }

/// Puts `value` before what the variable holds already.
void prepend_variable(const char *name, const std::string &value, const char *separator) {
    const char *old = std::getenv(name);
    const bool keep = old != nullptr && *old != '\0';
    ::setenv(name, keep ? (value + separator + old).c_str() : value.c_str(), 1);
}

void set_environment(const sim_run_options &options) {
    ::setenv("SWITCHSIM_STATE", options.state_path.c_str(), 1);
    ::setenv("SWITCHSIM_PORT", std::to_string(options.port).c_str(), 1);
    const char *slash = std::strrchr(options.program[0], '/');
    const char *name = slash != nullptr ? slash + 1 : options.program[0];
    // An emulator is a program of this machine, which could not load the library of the one it emulates.
    if (std::strncmp(name, "qemu-", 5) == 0) {
        prepend_variable("QEMU_SET_ENV", "LD_PRELOAD=" + options.library, ",");
    } else {
        prepend_variable("LD_PRELOAD", options.library, ":");
    }
}

/// Returns the exit status of a program that could not be started, after saying why.
int execute(char *const *program) {
    ::execvp(program[0], program);
    const int error = errno;
    std::fprintf(stderr, "switchsim: %s: %s\n", program[0], std::strerror(error));
    std::fflush(stderr);
    return error == ENOENT ? 127 : 126;
}

[[noreturn]] void become_program(const sim_run_options &options, const std::string &mark, pid_t parent,
                                 const sigset_t &mask) {
    // When this program is killed, so that it can end nothing, the simulated one is ended all the same.
    ::prctl(PR_SET_PDEATHSIG, SIGTERM);
    if (::getppid() != parent) {
        ::_exit(k_sim_run_failed);
    }
    ::setenv(k_mark_name, mark.c_str(), 1);
    set_environment(options);
    ::sigprocmask(SIG_SETMASK, &mask, nullptr);
    ::_exit(execute(options.program));
}

/// Takes the ends of children, the left-over ones among them. Returns whether `program` was among them, with
/// its wait status. `time_service` becomes -1 when that has ended.
bool reap(pid_t program, pid_t &time_service, int &program_status) {
    bool ended = false;
    int status = 0;
    for (pid_t pid = 0; (pid = ::waitpid(-1, &status, WNOHANG)) > 0;) {
        if (pid == program) {
            ended = true;
            program_status = status;
        } else if (pid == time_service) {
            time_service = -1;
        }
    }
    return ended;
}

/// Runs the scenario until the program ends; returns its wait status. `time_service` becomes -1 when that has
/// ended.
int attend(pid_t program, pid_t &time_service, const sigset_t &signals, sim_state &state,
           std::vector<sim_step> &steps) {
    const uint64_t start_ns = sim_now_ns();
    for (;;) {
        const uint64_t elapsed_ns = sim_now_ns() - start_ns;
        const uint64_t due_ns = sim_scenario_apply(state, steps, elapsed_ns);
        const int signal = wait_signal(signals, due_ns - elapsed_ns);
        if (signal == SIGCHLD) {
            int status = 0;
            if (reap(program, time_service, status)) {
                return status;
            }
        } else if (signal != 0) {
            // The program may have ended in this moment.
            ignore_result(::kill(program, signal));
        }
    }
}

/// The parent of a process; 0 when the process is gone.
pid_t parent_of(const char *pid) {
    const unique_fd fd(::open((std::string("/proc/") + pid + "/stat").c_str(), O_RDONLY | O_CLOEXEC));
    char stat[512];
    const ssize_t length = fd.valid() ? ::read(fd.get(), stat, sizeof stat - 1) : -1;
    stat[length > 0 ? length : 0] = '\0';
    const char *name_end = std::strrchr(stat, ')'); // "42 (name) S 1 ...", and a name may hold anything
    return name_end != nullptr && std::strlen(name_end) > 4
               ? static_cast<pid_t>(std::strtol(name_end + 4, nullptr, 10)) // ") S 1"
               : 0;
}

/// Whether a process has `variable`, "NAME=VALUE", in its environment. Not one that is being replaced by
/// another program at this moment, nor one of another user.
bool carries(const char *pid, const std::string &variable) {
    std::ifstream file(std::string("/proc/") + pid + "/environ", std::ios::binary);
    for (std::string one; std::getline(file, one, '\0');) {
        if (one == variable) {
            return true;
        }
    }
    return false;
}

/// How the processes of a run are known.
struct family {
    pid_t self;
    pid_t time_service; // which is not the program's; -1: it has ended
    bool adopts;        // what loses its parent becomes a child of this process
    std::string mark;   // in the environment of all that did not change theirs
};

/// Signals what is left of the program; false when there is none. A child that has ended and is not reaped
/// yet counts: its own children, which come to this process, may have been passed in the listing already.
bool signal_leftovers(const family &run, int signal) {
    const folder_handle processes(::opendir("/proc"));
    const std::string variable = std::string(k_mark_name) + "=" + run.mark;
    bool found = false;
    while (const dirent *entry = processes != nullptr ? ::readdir(processes.get()) : nullptr) {
        const auto pid = static_cast<pid_t>(std::strtol(entry->d_name, nullptr, 10));
        if (pid > 1 && pid != run.time_service &&
            (parent_of(entry->d_name) == run.self || carries(entry->d_name, variable))) {
            found = true;
            ignore_result(::kill(pid, signal));
        }
    }
    return found;
}

/// Ends what the program left behind. Where it is known by its environment alone, as under an emulator, a
/// second look makes sure of it.
void end_leftovers(family &run, const sigset_t &signals) {
    const uint64_t start_ns = sim_now_ns();
    const int32_t looks = run.adopts ? 1 : 2;
    int status = 0;
    for (int32_t clean = 0; clean < looks;) {
        const int signal = sim_now_ns() - start_ns < k_patience_ns ? SIGTERM : SIGKILL;
        clean = signal_leftovers(run, signal) ? 0 : clean + 1;
        if (clean < looks) {
            wait_signal(signals, k_look_again_ns);
            reap(-1, run.time_service, status);
        }
    }
}

int run_program(const sim_run_options &options, pid_t &time_service, sim_state &state,
                std::vector<sim_step> &steps) {
    const sigset_t signals = handled_signals();
    sigset_t mask;
    ::sigprocmask(SIG_BLOCK, &signals, &mask);
    // Whoever ignores it never hears of a child's end, and that is handed down.
    ::signal(SIGCHLD, SIG_DFL);
    family run = {::getpid(), time_service, ::prctl(PR_SET_CHILD_SUBREAPER, 1UL) == 0,
                  std::to_string(::getpid()) + "." + std::to_string(state.born_ns)};
    const pid_t program = ::fork();
    if (program < 0) {
        std::fprintf(stderr, "switchsim: fork: %s\n", std::strerror(errno));
        return k_sim_run_failed;
    }
    if (program == 0) {
        become_program(options, run.mark, run.self, mask);
    }
    const int status = attend(program, run.time_service, signals, state, steps);
    end_leftovers(run, signals);
    time_service = run.time_service;
    return exit_status(status);
}

} // namespace

int sim_run(sim_run_options &options) {
    std::string error;
    if (!sim_paths_make_folder(options.state_path, error)) {
        std::fprintf(stderr, "switchsim: %s\n", error.c_str());
        return k_sim_run_failed;
    }
    sim_file file;
    const sim_file_result made = sim_file_create(options.state_path.c_str(), file);
    if (made != sim_file_result::ok) {
        std::fprintf(stderr, "switchsim: %s: %s%s\n", options.state_path.c_str(), sim_file_text(made),
                     made == sim_file_result::in_use ? "; end it first, or choose another file with --state"
                                                     : "");
        return k_sim_run_failed;
    }
    // Before the program starts, so that it never sees the switch without them.
    sim_scenario_begin(*file.state, options.steps);
    pid_t time_service = sim_time_start(*file.state, file.lock_fd);
    if (time_service < 0) {
        std::fprintf(stderr, "switchsim: no time service: %s\n", std::strerror(errno));
    }
    const int status = run_program(options, time_service, *file.state, options.steps);
    sim_time_stop(time_service);
    sim_file_remove(options.state_path.c_str(), file);
    sim_paths_remove_folder(options.state_path);
    return status;
}

int sim_join(const sim_run_options &options) {
    sim_file file;
    const sim_file_result opened = sim_file_open(options.state_path.c_str(), file);
    if (opened != sim_file_result::ok) {
        std::fprintf(stderr, "switchsim: no simulated switch: %s: %s\n", options.state_path.c_str(),
                     sim_file_text(opened));
        return k_sim_run_failed;
    }
    sim_file_close(file);
    set_environment(options);
    return execute(options.program);
}
