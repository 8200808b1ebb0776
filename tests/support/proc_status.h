#pragma once

#include <fstream>
#include <string>

/// The word after `name` ("SigIgn:") in the status file of a process or thread, whose folder in "/proc" is
/// given; empty when there is none.
inline std::string proc_status(const std::string &folder, const std::string &name) {
    std::ifstream status(folder + "/status");
    std::string word;
    while (status >> word && word != name) {
    }
    status >> word;
    return status ? word : "";
}
