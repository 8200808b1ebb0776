#include "apps/mbstat/page.h"

#include "lib/base/folder_handle.h"
#include "lib/base/parse_number.h"
#include "lib/base/unique_fd.h"

#include <array>
#include <fcntl.h>
#include <string_view>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace {

/// Calls `take` with the number that each entry's name is, until it returns true.
template<typename Take> void each_number(DIR *folder, Take take) {
    while (const dirent *entry = folder != nullptr ? ::readdir(folder) : nullptr) {
        int32_t number = 0;
        if (parse_number(entry->d_name, 0, INT32_MAX, &number) && take(number)) {
            return;
        }
    }
}

/// Whether what is open in another process is called like the counters.
bool is_named_so(int folder, const char *descriptor) {
    std::array<char, 64> target = {};
    const ssize_t size = ::readlinkat(folder, descriptor, target.data(), target.size());
    const std::string name = std::string("/memfd:") + k_mb_counters_name + " (deleted)";
    return size > 0 && std::string_view(target.data(), static_cast<size_t>(size)) == name;
}

/// Finds the counters among the descriptors of a process; a descriptor that is not valid when there are none.
/// It only names what was found: a process can call anything so, and opening a device may have effects.
unique_fd find_memory(pid_t process_id) {
    const std::string path = "/proc/" + std::to_string(process_id) + "/fd";
    const folder_handle folder(::opendir(path.c_str()));
    unique_fd memory;
    each_number(folder.get(), [&](int32_t number) {
        const std::string descriptor = std::to_string(number);
        const int at = ::dirfd(folder.get());
        if (is_named_so(at, descriptor.c_str())) {
            memory.reset(::openat(at, descriptor.c_str(), O_PATH | O_CLOEXEC));
        }
        return memory.valid();
    });
    return memory;
}

/// Opens for reading what find_memory has found, a plain file.
unique_fd open_to_read(int memory) {
    const std::string path = "/proc/self/fd/" + std::to_string(memory);
    return unique_fd(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
}

/// Whether it is memory that nobody can take away while it is read: any file can be called like it.
bool is_fixed_memory(int memory) {
    const int seals = ::fcntl(memory, F_GET_SEALS);
    return seals >= 0 && (seals & F_SEAL_SHRINK) != 0;
}

/// What a process has of counters.
struct found_page {
    const mb_counters_page *page = nullptr; // null: none that is read
    bool is_strangers = false;              // there is one, of an owner who is not asked for
    std::string error;                      // there is one, and this is why it is not read; else empty
};

std::string name_of(int32_t process_id) { return "process " + std::to_string(process_id); }

found_page refuse(pid_t process_id, const std::string &why) {
    return {nullptr, false, name_of(process_id) + ": " + why};
}

/// The beginning of the page, which is the same in all versions.
struct page_head {
    uint32_t magic;
    uint32_t version;
    uint32_t size;
};
static_assert(offsetof(mb_counters_page, size) == offsetof(page_head, size));

/// Maps the memory when it holds a page of this version.
found_page map_page(pid_t process_id, int memory, const struct stat &info) {
    page_head head = {};
    if (!is_fixed_memory(memory) || ::pread(memory, &head, sizeof head, 0) != ssize_t{sizeof head} ||
        head.magic != k_mb_counters_magic) {
        return refuse(process_id, "what it has in place of counters is something else");
    }
    if (head.version != k_mb_counters_version || head.size != sizeof(mb_counters_page)) {
        return refuse(process_id, "its counters are of version " + std::to_string(head.version) +
                                      ", this program reads version " +
                                      std::to_string(k_mb_counters_version));
    }
    void *const mapped = info.st_size >= off_t{sizeof(mb_counters_page)}
                             ? ::mmap(nullptr, sizeof(mb_counters_page), PROT_READ, MAP_SHARED, memory, 0)
                             : MAP_FAILED;
    if (mapped == MAP_FAILED) {
        return refuse(process_id, "its counters cannot be mapped");
    }
    return {static_cast<const mb_counters_page *>(mapped), false, {}};
}

void unmap(const mb_counters_page *page) {
    ::munmap(const_cast<mb_counters_page *>(page), sizeof(mb_counters_page));
}

/// Looks at the counters that a process has open, if `may_own` says so of who has made them: who holds them
/// may be a program of root's that was started with them.
template<typename MayOwn> found_page look_at(pid_t process_id, MayOwn may_own) {
    const unique_fd found = find_memory(process_id);
    struct stat info = {};
    if (!found.valid() || ::fstat(found.get(), &info) != 0 || !S_ISREG(info.st_mode)) {
        return {};
    }
    if (!may_own(info.st_uid)) {
        return {nullptr, true, {}};
    }
    const unique_fd memory = open_to_read(found.get());
    return memory.valid() ? map_page(process_id, memory.get(), info) : found_page{};
}

/// What a walk through all processes has found.
struct search {
    std::vector<const mb_counters_page *> running;
    int32_t ended = 0;  // a daemon of which children are left; or one that runs
    pid_t stranger = 0; // who has counters of another owner
    std::string error;  // of a page that was refused
};

void add(search &all, pid_t process_id, uid_t user) {
    const found_page found = look_at(process_id, [=](uid_t owner) { return owner == 0 || owner == user; });
    if (!found.error.empty()) {
        all.error = found.error;
    }
    if (found.is_strangers) {
        all.stranger = process_id;
    }
    if (found.page == nullptr) {
        return;
    }
    if (found.page->process_id == process_id) {
        all.running.push_back(found.page);
    } else {
        all.ended = found.page->process_id;
        unmap(found.page);
    }
}

std::string list_of(const std::vector<const mb_counters_page *> &pages) {
    std::string list;
    for (const mb_counters_page *page : pages) {
        list += (list.empty() ? "" : ", ") + std::to_string(page->process_id);
    }
    return list;
}

/// Why no running daemon was found.
std::string why_none(const search &all) {
    if (!all.error.empty()) {
        return all.error;
    }
    if (all.ended != 0) {
        return "modbusd, " + name_of(all.ended) + ", has ended; only clients that it left are still served";
    }
    if (all.stranger != 0) {
        return "no modbusd runs as root or this user, but " + name_of(all.stranger) +
               " has counters: see --user and --pid";
    }
    return ::geteuid() == 0 ? "no modbusd runs" : "no modbusd runs that this user may look at";
}

} // namespace

counters_page counters_page_of(pid_t process_id) {
    const found_page found = look_at(process_id, [](uid_t /*owner*/) { return true; });
    if (!found.error.empty()) {
        return {nullptr, found.error};
    }
    if (found.page == nullptr) {
        return {nullptr, name_of(process_id) + " is no modbusd, or not this user's to look at"};
    }
    const int32_t maker = found.page->process_id;
    if (maker == process_id) {
        return {found.page, {}};
    }
    unmap(found.page);
    return {nullptr, name_of(process_id) + " serves a client of " + name_of(maker)};
}

counters_page counters_page_find(uid_t user) {
    search all;
    const folder_handle processes(::opendir("/proc"));
    each_number(processes.get(), [&](pid_t process_id) {
        add(all, process_id, user);
        return false;
    });
    if (all.running.size() == 1) {
        return {all.running.front(), {}};
    }
    if (!all.running.empty()) {
        return {nullptr, "several modbusd run: choose one with --pid: " + list_of(all.running)};
    }
    return {nullptr, why_none(all)};
}
