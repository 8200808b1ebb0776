// The programs that run, and the memory there is.

#include "lib/base/folder_handle.h"
#include "lib/base/parse_number.h"
#include "lib/base/take_piece.h"
#include "lib/services/kernel_shows.h"
#include "lib/services/kernel_text.h"

#include <algorithm>
#include <array>
#include <optional>
#include <unistd.h>
#include <vector>

namespace {

constexpr uint64_t k_kernel_thread = 0x00200000; // among a task's flags: no program
constexpr size_t k_stat_max = 4096;
constexpr int64_t k_processes_max = 4096;

struct process {
    int64_t id;
    std::string name;
    char state;
    int64_t threads;
    int64_t seconds; // of the processor
    int64_t memory_kib;
};

/// "12 (name) S ...": the name may hold blanks and brackets of its own. Nothing for a thread of the kernel.
std::optional<process> read_process(int64_t id) {
    const std::string text = kernel_read(("/proc/" + std::to_string(id) + "/stat").c_str(), k_stat_max);
    const size_t begin = text.find('(');
    const size_t end = text.rfind(')');
    if (begin == std::string::npos || end == std::string::npos || end < begin) {
        return std::nullopt; // it has ended meanwhile
    }
    std::array<std::string_view, 22> words; // the third word of the file and what follows it
    std::string_view rest = std::string_view(text).substr(end + 1);
    std::generate(words.begin(), words.end(), [&] { return kernel_take_word(rest); });
    uint64_t flags = 0;
    int64_t user = 0;
    int64_t system = 0;
    int64_t threads = 0;
    int64_t pages = 0;
    if (words[0].size() != 1 || !parse_number(words[6], &flags) || !parse_number(words[11], &user) ||
        !parse_number(words[12], &system) || !parse_number(words[17], &threads) ||
        !parse_number(words[21], &pages) || (flags & k_kernel_thread) != 0) {
        return std::nullopt;
    }
    return process{id,
                   kernel_printable(std::string_view(text).substr(begin + 1, end - begin - 1)),
                   words[0].front(),
                   threads,
                   (user + system) / ::sysconf(_SC_CLK_TCK),
                   pages * (::sysconf(_SC_PAGESIZE) / 1024)};
}

std::vector<process> all_processes() {
    std::vector<process> found;
    const folder_handle folder(::opendir("/proc"));
    while (const dirent *const entry = folder != nullptr ? ::readdir(folder.get()) : nullptr) {
        int64_t id = 0;
        if (!parse_number(entry->d_name, &id) || found.size() >= k_processes_max) {
            continue;
        }
        if (auto one = read_process(id)) {
            found.push_back(std::move(*one));
        }
    }
    std::sort(found.begin(), found.end(), [](const process &a, const process &b) { return a.id < b.id; });
    return found;
}

std::string state_text(char state) {
    switch (state) {
    case 'R':
        return "runs";
    case 'S':
    case 'I':
        return "waits";
    case 'D':
        return "waits for a device";
    case 'T':
    case 't':
        return "stopped";
    case 'Z':
    case 'X':
        return "has ended";
    default:
        return "";
    }
}

/// The figure behind a name in "/proc/meminfo", "MemTotal:   123 kB"; unknown when it is not there.
report_cell memory_of(std::string_view name) {
    const std::string text = kernel_read("/proc/meminfo", k_stat_max);
    for (std::string_view rest = text; !rest.empty();) {
        std::string_view line = take_piece(rest, '\n');
        int64_t kib = 0;
        if (kernel_take_word(line) == name && parse_number(kernel_take_word(line), &kib)) {
            return kib;
        }
    }
    return "";
}

} // namespace

service_answer kernel_show_processes(const service_call & /*call*/, report &to) {
    report_add(to, {"memory_kib", "Memory"}, memory_of("MemTotal:"), "KiB");
    report_add(to, {"memory_available_kib", "Memory available"}, memory_of("MemAvailable:"), "KiB");
    report_table &table = report_add_table(to, "processes", "",
                                           {{"id", "Id"},
                                            {"name", "Name"},
                                            {"state", "State"},
                                            {"threads", "Threads"},
                                            {"cpu_s", "Processor (s)"},
                                            {"memory_kib", "Memory (KiB)"}});
    for (const process &one : all_processes()) {
        table.rows.push_back(
            {one.id, one.name, state_text(one.state), one.threads, one.seconds, one.memory_kib});
    }
    return {};
}
