#include "tests/support/daemon_on_switch.h"

#include "sim/state_file.h"
#include "tests/support/eventually.h"

#include <csignal>
#include <fstream>
#include <gtest/gtest.h>
#include <unistd.h>

switchsim_in_folder::switchsim_in_folder() { EXPECT_NE(nullptr, ::mkdtemp(m_folder.data())); }

switchsim_in_folder::~switchsim_in_folder() {
    ::unlink((state() + ".txt").c_str());
    EXPECT_EQ(0, ::rmdir(m_folder.data())) << "something was left behind";
}

std::vector<std::string> switchsim_in_folder::command(const std::string &verb,
                                                      const std::vector<std::string> &words) const {
    std::vector<std::string> whole = own_program("switchsim", {verb, "--state", state()});
    whole.insert(whole.end(), words.begin(), words.end());
    return whole;
}

std::vector<std::string> switchsim_in_folder::daemon_command(const std::vector<std::string> &settings,
                                                             uint16_t port,
                                                             const std::string &shell_line) const {
    const std::string scenario = state() + ".txt";
    std::ofstream file(scenario);
    for (const std::string &line : settings) {
        file << line << '\n';
    }
    std::vector<std::string> words = {"--port", std::to_string(port), "--scenario", scenario, "--"};
    if (!shell_line.empty()) {
        words.insert(words.end(), {"sh", "-c", shell_line, "sh"});
    }
    const std::vector<std::string> daemon = own_program("modbusd");
    words.insert(words.end(), daemon.begin(), daemon.end());
    return command("run", words);
}

daemon_on_switch::daemon_on_switch(const std::vector<std::string> &settings, int stdin_fd, uint16_t port,
                                   const std::string &shell_line)
    : m_process(daemon_command(settings, port, shell_line), stdin_fd) {
    EXPECT_TRUE(eventually([&] {
        sim_file file;
        if (sim_file_open(state().c_str(), file) == sim_file_result::ok) {
            m_port = static_cast<uint16_t>(sim_load(file.state->port_in_use));
            sim_file_close(file);
        }
        return m_port != 0;
    }));
}

std::string daemon_on_switch::end() {
    m_process.terminate();
    EXPECT_EQ(128 + SIGTERM, m_process.wait());
    return m_process.read_all();
}
