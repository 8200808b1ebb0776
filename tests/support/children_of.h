#pragma once

#include "tests/support/proc_status.h"

#include <algorithm>
#include <filesystem>
#include <string>
#include <sys/types.h>
#include <vector>

/// The children of a process that have not ended, in the order of their numbers.
inline std::vector<pid_t> children_of(pid_t parent) {
    std::vector<pid_t> children;
    std::error_code error;
    for (const auto &entry : std::filesystem::directory_iterator("/proc", error)) {
        const std::string folder = entry.path();
        if (proc_status(folder, "PPid:") == std::to_string(parent) && proc_status(folder, "State:") != "Z") {
            children.push_back(std::stoi(entry.path().filename()));
        }
    }
    std::sort(children.begin(), children.end());
    return children;
}
