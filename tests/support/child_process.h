#pragma once

#include <string>
#include <sys/types.h>
#include <vector>

/// A program started by a test, with its standard output and error read through one pipe. It is ended with
/// the object.
class child_process {
public:
    /// `stdin_fd` becomes its standard input; -1 starts it with standard input closed.
    child_process(const std::vector<std::string> &command, int stdin_fd);
    ~child_process();
    child_process(const child_process &) = delete;
    child_process &operator=(const child_process &) = delete;

    [[nodiscard]] pid_t pid() const { return m_pid; }
    void terminate() const; // SIGTERM
    /// Waits for its end, at most 20 s. The exit status as a shell gives it; -1 when it did not end.
    int wait();
    /// What it and its children have printed; ends when all of them have closed their output.
    std::string read_all();

private:
    pid_t m_pid;
    int m_output;
    bool m_reaped = false;
};

/// What a command prints and how it ends.
struct command_result {
    int status;
    std::string output;
};
command_result run_command(const std::vector<std::string> &command);

/// The command line of one of this build's programs, through the emulator in a cross build.
std::vector<std::string> own_program(const std::string &name, const std::vector<std::string> &arguments = {});
