// Commands that the server lets its client run, on the client's own terminal.

#include "apps/zopsh/shell.h"
#include "lib/base/retry.h"
#include "lib/base/take_piece.h"
#include "lib/services/program.h"

#include <arpa/inet.h>
#include <array>
#include <cstdio>
#include <cstring>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

/// Telnet to an IPv4 address and nothing else: a server does not choose what runs here.
bool is_allowed(const std::string &program, const std::string &address) {
    in_addr parsed{};
    return program == "telnet" && ::inet_pton(AF_INET, address.c_str(), &parsed) == 1;
}

} // namespace

bool shell_run_here(const std::string &line) {
    std::string_view rest(line);
    rest = rest.substr(0, rest.find('\n'));
    std::string program(take_piece(rest));
    std::string address(rest);
    const std::string path = is_allowed(program, address) ? program_path(program) : "";
    if (path.empty()) {
        std::fprintf(stderr, "zopsh: %s cannot be run here\n", program == "telnet" ? "telnet" : "this");
        return false;
    }
    const std::array<char *, 3> arguments = {program.data(), address.data(), nullptr};
    std::fflush(stdout);
    pid_t process = -1;
    if (const int error = ::posix_spawn(&process, path.c_str(), nullptr, nullptr, arguments.data(), environ);
        error != 0) {
        std::fprintf(stderr, "zopsh: %s: %s\n", path.c_str(), std::strerror(error));
        return false;
    }
    int status = 0;
    return retry_interrupted([&] { return ::waitpid(process, &status, 0); }) == process && status == 0;
}
