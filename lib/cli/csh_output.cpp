#include "lib/cli/csh_output.h"

#include "lib/base/plain_file.h"
#include "lib/base/result.h"
#include "lib/base/unique_fd.h"
#include "lib/cli/cli_output.h"
#include "lib/cli/csh_message.h"

#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

std::atomic<int32_t> s_server_thread = 0; // the kernel's id of it; 0: there is no server
int32_t s_client = 0;                     // the server thread's, as the next one is
uid_t s_client_user = 0;
int32_t s_error = 0; // of the first text that was lost since the file was emptied; 0: none was

int32_t thread_id() { return static_cast<int32_t>(::syscall(SYS_gettid)); }

constexpr size_t k_path_size = 64;

bool is_server_thread() { return thread_id() == s_server_thread; }

void output_path(char (&path)[k_path_size]) {
    std::snprintf(path, sizeof path, k_csh_output_format, is_server_thread() ? s_client : thread_id());
}

bool is_owner(uid_t user) { return user == ::geteuid() || (is_server_thread() && user == s_client_user); }

/// Opens the calling thread's output file: of the client's user or this one, nobody else's. An existing one
/// is opened without O_CREAT, which the kernel may refuse for files of others there.
unique_fd open_output() {
    char path[k_path_size];
    output_path(path);
    plain_file file = plain_file_open(path, O_WRONLY | O_APPEND);
    if (!file.fd.valid() && errno == ENOENT) {
        file = plain_file_open(path, O_WRONLY | O_APPEND | O_CREAT | O_EXCL, S_IRUSR | S_IWUSR);
    }
    if (file.fd.valid() && !is_owner(file.owner)) {
        file.fd.reset();
        errno = EPERM;
    }
    return std::move(file.fd);
}

int lose_text(int error) {
    if (is_server_thread() && s_error == 0) {
        s_error = error;
    }
    return -1;
}

} // namespace

void csh_output_serve() { s_server_thread = thread_id(); }

void csh_output_set_client(int32_t pid, uid_t user) {
    s_client = pid;
    s_client_user = user;
}

void csh_output_truncate() {
    s_error = 0;
    const unique_fd file = open_output();
    if (file.valid()) {
        // Of a file that has just been opened to be written it cannot fail.
        ignore_result(::ftruncate(file.get(), 0));
    }
}

void csh_output_remove() {
    char path[k_path_size];
    output_path(path);
    ignore_result(::unlink(path)); // there may be none
}

int cli_print(const char *format, ...) {
    unique_fd fd = open_output();
    std::FILE *const file = fd.valid() ? ::fdopen(fd.get(), "a") : nullptr;
    if (file == nullptr) {
        return lose_text(errno);
    }
    ignore_result(fd.release()); // it is the stream's now
    va_list arguments;
    va_start(arguments, format);
    // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized): it is initialised
    const int length = std::vfprintf(file, format, arguments);
    va_end(arguments);
    return std::fclose(file) == 0 && length >= 0 ? length : lose_text(errno);
}

int32_t csh_output_error() { return s_error; }
