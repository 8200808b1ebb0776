#pragma once

#include "tests/support/child_process.h"

#include <array>
#include <memory>
#include <string>
#include <vector>

/// A folder for a simulated switch, and `switchsim` told to keep it there.
class switchsim_in_folder {
public:
    switchsim_in_folder();
    /// Fails the test when something is left there.
    ~switchsim_in_folder();
    switchsim_in_folder(const switchsim_in_folder &) = delete;
    switchsim_in_folder &operator=(const switchsim_in_folder &) = delete;

    [[nodiscard]] std::string state() const { return std::string(m_folder.data()) + "/state"; }
    /// The command line of `switchsim VERB WORDS...`.
    [[nodiscard]] std::vector<std::string> command(const std::string &verb,
                                                   const std::vector<std::string> &words = {}) const;
    /// The command line that runs the daemon; what `settings` say is set, and their steps are played.
    /// `shell_line` starts it, as "$@"; empty: it is started itself.
    [[nodiscard]] std::vector<std::string> daemon_command(const std::vector<std::string> &settings = {},
                                                          uint16_t port = 0,
                                                          const std::string &shell_line = "") const;
    /// Runs `switchsim VERB WORDS...`.
    [[nodiscard]] command_result run(const std::string &verb,
                                     const std::vector<std::string> &words = {}) const {
        return run_command(command(verb, words));
    }

private:
    std::array<char, 32> m_folder{"/tmp/switchsim_test.XXXXXX"};
};

/// The daemon on a simulated switch, on a port that the kernel chose if not `port`.
class daemon_on_switch : public switchsim_in_folder {
public:
    explicit daemon_on_switch(const std::vector<std::string> &settings = {}, int stdin_fd = -1,
                              uint16_t port = 0, const std::string &shell_line = "");

    [[nodiscard]] uint16_t port() const { return m_port; }
    /// Ends it as its user would; what it has printed.
    std::string end();

private:
    child_process m_process;
    uint16_t m_port = 0;
};
