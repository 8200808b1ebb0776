#include "sim/shell.h"

#include "lib/base/retry.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr char k_tool[] = "/usr/sbin/fw_printenv";
constexpr size_t k_tool_length = sizeof k_tool - 1;

// What the tool prints for a variable that is not set; `$1` is the variable.
#define NOT_DEFINED "echo \"## Error: \\\"$1\\\" not defined\" >&2; return 1"

/// A copy of the environment without LD_PRELOAD, to be freed, or null.
char **environment_without_preload() {
    size_t count = 0;
    while (environ[count] != nullptr) {
        count++;
    }
    auto **copy = static_cast<char **>(std::calloc(count + 1, sizeof(char *)));
    if (copy == nullptr) {
        return nullptr;
    }
    size_t kept = 0;
    for (size_t i = 0; i < count; i++) {
        if (std::strncmp(environ[i], "LD_PRELOAD=", 11) != 0) {
            copy[kept++] = environ[i];
        }
    }
    return copy;
}

int wait_for(pid_t shell) {
    int status = 0;
    return retry_interrupted([&] { return ::waitpid(shell, &status, 0); }) < 0 ? -1 : status;
}

/// The signals of the caller while a shell runs: interrupts are the shell's, its end is not the program's
/// business.
struct held_signals {
    sigset_t mask;
    struct sigaction interrupt;
    struct sigaction quit;
};

void hold_signals(held_signals &held) {
    struct sigaction ignore {};
    ignore.sa_handler = SIG_IGN;
    ::sigaction(SIGINT, &ignore, &held.interrupt);
    ::sigaction(SIGQUIT, &ignore, &held.quit);
    sigset_t child;
    ::sigemptyset(&child);
    ::sigaddset(&child, SIGCHLD);
    ::pthread_sigmask(SIG_BLOCK, &child, &held.mask);
}

void release_signals(const held_signals &held) {
    ::sigaction(SIGINT, &held.interrupt, nullptr);
    ::sigaction(SIGQUIT, &held.quit, nullptr);
    ::pthread_sigmask(SIG_SETMASK, &held.mask, nullptr);
}

int spawn_shell(const char *command, char **environment, const held_signals &held, pid_t &shell) {
    posix_spawnattr_t attributes;
    if (const int error = ::posix_spawnattr_init(&attributes); error != 0) {
        return error;
    }
    sigset_t defaults;
    ::sigemptyset(&defaults);
    if (held.interrupt.sa_handler != SIG_IGN) {
        ::sigaddset(&defaults, SIGINT);
    }
    if (held.quit.sa_handler != SIG_IGN) {
        ::sigaddset(&defaults, SIGQUIT);
    }
    ::posix_spawnattr_setsigdefault(&attributes, &defaults);
    ::posix_spawnattr_setsigmask(&attributes, &held.mask);
    ::posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK);
    const char *arguments[] = {"sh", "-c", command, nullptr};
    const int error = ::posix_spawn(&shell, "/bin/sh", nullptr, &attributes,
                                    const_cast<char *const *>(arguments), environment);
    ::posix_spawnattr_destroy(&attributes);
    return error;
}

/// Puts `text` between single quotes of the shell; `quoted` has room for four bytes a character and three
/// more.
void quote(const char *text, char *quoted) {
    *quoted++ = '\'';
    for (; *text != '\0'; text++) {
        if (*text == '\'') {
            std::memcpy(quoted, "'\\''", 4);
            quoted += 4;
        } else {
            *quoted++ = *text;
        }
    }
    *quoted++ = '\'';
    *quoted = '\0';
}

void read_serial(const sim_state &state, char (&serial)[k_sim_serial_size]) {
    for (size_t i = 0; i < k_sim_serial_size; i++) {
        serial[i] = static_cast<char>(sim_load(state.identity.serial[i]));
    }
    serial[k_sim_serial_size - 1] = '\0';
}

} // namespace

int sim_shell_run(const char *command) {
    char **environment = environment_without_preload();
    if (environment == nullptr) {
        errno = ENOMEM;
        return -1;
    }
    held_signals held;
    hold_signals(held);
    pid_t shell = -1;
    const int error = spawn_shell(command, environment, held, shell);
    const int status = error == 0 ? wait_for(shell) : -1;
    release_signals(held);
    std::free(environment);
    if (error != 0) {
        errno = error;
    }
    return status;
}

bool sim_shell_wants_printenv(const char *command) {
    return std::strncmp(command, k_tool, k_tool_length) == 0 && command[k_tool_length] == ' ';
}

int sim_shell_printenv(const sim_state &state, const char *command) {
    const char *rest = command + k_tool_length;
    char quoted[4 * k_sim_serial_size + 3];
    char serial[k_sim_serial_size];
    read_serial(state, serial);
    quote(serial, quoted);
    char *whole = nullptr;
    const int length =
        sim_load(state.faults.serial_missing) != 0
            ? ::asprintf(&whole, "tool() { " NOT_DEFINED "; }; tool%s", rest)
            : ::asprintf(&whole,
                         "tool() { case \"$1\" in 'serial#') printf 'serial#=%%s\\n' %s;; *) " NOT_DEFINED
                         ";; esac; }; tool%s",
                         quoted, rest);
    if (length < 0) {
        errno = ENOMEM;
        return -1;
    }
    const int status = sim_shell_run(whole);
    std::free(whole);
    return status;
}
