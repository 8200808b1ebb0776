#include "bench/server_cpu.h"

#include <cstdio>
#include <cstdlib>
#include <dirent.h>
#include <fstream>
#include <memory>
#include <string>

namespace {

/// Calls `visit` with every name in a folder of /proc that is a number.
template<typename F> void for_each_number(const std::string &path, F visit) {
    const std::unique_ptr<DIR, int (*)(DIR *)> folder(opendir(path.c_str()), closedir);
    while (const dirent *entry = folder ? readdir(folder.get()) : nullptr) {
        const long number = std::strtol(entry->d_name, nullptr, 10);
        if (number > 0) {
            visit(static_cast<pid_t>(number));
        }
    }
}

pid_t parent_of(pid_t pid) {
    std::ifstream file("/proc/" + std::to_string(pid) + "/stat");
    std::string line;
    std::getline(file, line);
    // The name in parentheses may hold anything: ") S PARENT" begins with the last one.
    const size_t end = line.rfind(')');
    return end == std::string::npos || end + 4 > line.size()
               ? 0
               : static_cast<pid_t>(std::strtol(line.c_str() + end + 4, nullptr, 10));
}

uint64_t process_cpu_ns(pid_t pid) {
    const std::string tasks = "/proc/" + std::to_string(pid) + "/task/";
    uint64_t sum = 0;
    for_each_number(tasks, [&](pid_t task) {
        uint64_t ns = 0;
        std::ifstream(tasks + std::to_string(task) + "/schedstat") >> ns;
        sum += ns;
    });
    return sum;
}

} // namespace

uint64_t server_cpu_ns(pid_t pid) {
    uint64_t sum = process_cpu_ns(pid);
    for_each_number("/proc", [&](pid_t child) {
        if (parent_of(child) == pid) {
            sum += server_cpu_ns(child);
        }
    });
    return sum;
}
