// Commands that are programs of the system: ping and the like.

#include "lib/services/services.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace {

constexpr const char *k_default_count = "4";

/// "-c 5 -s 100" may stand in a line; without a count there is one, since nobody might end it.
std::vector<std::string> ping_line(const char *name, const service_call &call) {
    std::vector<std::string> line = {name};
    const auto options = call.arguments.subspan(1);
    if (std::find(options.begin(), options.end(), "-c") == options.end()) {
        line.insert(line.end(), {"-c", k_default_count});
    }
    line.insert(line.end(), options.begin(), options.end());
    line.push_back(call.arguments.front());
    return line;
}

service_answer start(const std::vector<std::string> &line) {
    service_answer answer = {service_outcome::running};
    const int error = program_start(line, &answer.job);
    if (error == ENOENT) {
        return {service_outcome::not_supported};
    }
    if (error != 0) {
        return {service_outcome::refused, line.front() + " cannot be started: " + std::strerror(error)};
    }
    return answer;
}

service_answer act(const service_call &call) {
    if (call.words == "ping") {
        return start(ping_line("ping", call));
    }
    if (call.words == "ping6") {
        std::vector<std::string> line = ping_line("ping", call);
        line.insert(line.begin() + 1, "-6");
        return start(line);
    }
    if (call.words == "telnet") { // whoever types talks to the other host, and the server to nobody
        return {service_outcome::at_client, "telnet " + call.arguments.front() + '\n'};
    }
    return {service_outcome::not_supported};
}

} // namespace

const service service_programs = {"programs of the system", nullptr, nullptr, nullptr, nullptr, act};
