#include "lib/base/log.h"

#include "lib/base/mutex_guard.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <pthread.h>
#include <span>
#include <syslog.h>

namespace {

constexpr const char *k_alloc_limit =
    "Dynamic allocation limit crossed, it may be a memory leak in the daemon\n";

constexpr size_t k_queue_bytes = 65536;
constexpr uint32_t k_queue_lines = 400; // at the rate below, the last one is written within a second

// A burst and the lines of the rest of a second are 500.
constexpr int64_t k_burst_lines = 50;
constexpr int64_t k_lines_a_second = 450;
constexpr int64_t k_second_ns = 1000000000;
constexpr int64_t k_line_ns = k_second_ns / k_lines_a_second + 1;
constexpr int64_t k_millisecond_ns = 1000000;
constexpr int64_t k_poll_ns = 200000;

struct line_head {
    int32_t priority;
    uint32_t length; // of the text, whose characters follow
};

// The lines on their way, as a ring of bytes: it has its memory from the start, as there may be none when one
// of its lines is needed. Guarded by s_mutex, like all below that is not atomic.
struct log_queue {
    uint8_t bytes[k_queue_bytes];
    size_t first; // where the oldest line begins
    size_t used;
    uint32_t lines;
};

// As openlog() takes them; chosen before there are threads.
const char *s_ident = k_ipc_log_ident;
int s_options = LOG_PID | LOG_CONS | LOG_NDELAY;
int s_facility = LOG_SYSLOG;

log_queue s_queue = {};
uint32_t s_left_out = 0;   // lines that the log has not been told of
int64_t s_left_out_ns = 0; // when the first of them was left out
bool s_has_writer = false; // the log's thread runs
pthread_mutex_t s_mutex = PTHREAD_MUTEX_INITIALIZER;
pthread_cond_t s_changed = PTHREAD_COND_INITIALIZER;

// How many lines have come into the queue, and how many of them are written; both wrap.
std::atomic<uint32_t> s_queued = 0;
std::atomic<uint32_t> s_written = 0;
static_assert(std::atomic<uint32_t>::is_always_lock_free, "signal handlers read them");

thread_local bool t_for_clients = false;

int64_t monotonic_ns() {
    timespec now{};
    ::clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec * k_second_ns + now.tv_nsec;
}

void sleep_ns(int64_t ns) {
    timespec time{};
    time.tv_sec = static_cast<time_t>(ns / k_second_ns);
    time.tv_nsec = static_cast<decltype(time.tv_nsec)>(ns % k_second_ns);
    ::nanosleep(&time, nullptr);
}

// ---- the queue, under s_mutex

void put_bytes(const void *bytes, size_t size) {
    const auto *from = static_cast<const uint8_t *>(bytes);
    const size_t at = (s_queue.first + s_queue.used) % k_queue_bytes;
    const size_t to_end = std::min(size, k_queue_bytes - at);
    std::memcpy(s_queue.bytes + at, from, to_end);
    std::memcpy(s_queue.bytes, from + to_end, size - to_end);
    s_queue.used += size;
}

void take_bytes(void *bytes, size_t size) {
    auto *to = static_cast<uint8_t *>(bytes);
    const size_t to_end = std::min(size, k_queue_bytes - s_queue.first);
    std::memcpy(to, s_queue.bytes + s_queue.first, to_end);
    std::memcpy(to + to_end, s_queue.bytes, size - to_end);
    s_queue.first = (s_queue.first + size) % k_queue_bytes;
    s_queue.used -= size;
}

/// Puts a line into the queue if there is room for it.
bool put_line(int32_t priority, const char *text, size_t length) {
    const line_head head = {priority, static_cast<uint32_t>(length)};
    const size_t quarters = t_for_clients ? 3 : 4;
    if (s_queue.used + sizeof head + length > k_queue_bytes / 4 * quarters ||
        s_queue.lines >= k_queue_lines / 4 * quarters) {
        return false;
    }
    put_bytes(&head, sizeof head);
    put_bytes(text, length);
    s_queue.lines++;
    s_queued++;
    return true;
}

/// Puts the count of the lines left out, if there is room for it.
void put_count() {
    char text[40];
    const int length = std::snprintf(text, sizeof text, "log lines left out: %u", s_left_out);
    if (put_line(LOG_WARNING, text, static_cast<size_t>(length))) {
        s_left_out = 0;
    }
}

// ---- the log's thread

/// Waits for the oldest line and takes it; behind the last one comes the count of those left out.
void take_line(line_head *line, std::span<char, k_ipc_log_line> text) {
    const mutex_guard guard(s_mutex);
    while (s_queue.lines == 0 && s_left_out == 0) {
        pthread_cond_wait(&s_changed, &s_mutex);
    }
    if (s_queue.lines == 0) {
        put_count();
    }
    take_bytes(line, sizeof *line);
    take_bytes(text.data(), line->length);
    text[line->length] = '\0';
    s_queue.lines--;
}

/// Waits until one more line keeps to the rate.
void await_turn() {
    static int64_t s_turn = 0; // of the last line; behind the clock by what is left of a burst
    const int64_t now = monotonic_ns();
    s_turn = std::max(s_turn, now - k_burst_lines * k_line_ns) + k_line_ns;
    if (s_turn > now) {
        sleep_ns(s_turn - now);
    }
}

void *write_lines(void * /*argument*/) {
    line_head line{};
    char text[k_ipc_log_line];
    for (;;) {
        take_line(&line, text);
        await_turn();
        openlog(s_ident, s_options, s_facility);
        syslog(line.priority, "%s", text);
        closelog();
        s_written++;
    }
    return nullptr;
}

void lock_before_fork() { pthread_mutex_lock(&s_mutex); }
void unlock_in_parent() { pthread_mutex_unlock(&s_mutex); }

/// The child has no log thread.
void start_anew_in_child() {
    s_queue.first = s_queue.used = s_queue.lines = 0;
    s_left_out = 0;
    s_has_writer = false;
    s_written = s_queued.load();
    pthread_cond_init(&s_changed, nullptr);
    pthread_mutex_unlock(&s_mutex);
}

void flush_at_exit() { ipc_log_flush(k_ipc_log_patience_ms); }

/// Without a thread, lines stay in the queue for the one that a later line starts.
void start_writer() {
    static bool s_hooked = false;
    if (!s_hooked) {
        s_hooked = pthread_atfork(lock_before_fork, unlock_in_parent, start_anew_in_child) == 0;
        std::atexit(flush_at_exit);
    }
    // Signals are for the threads that expect them.
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    pthread_t writer{};
    s_has_writer = pthread_create(&writer, nullptr, write_lines, nullptr) == 0;
    if (s_has_writer) {
        pthread_detach(writer);
    }
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

// ---- the callers

void write_line(int priority, const char *text) {
    const int saved_errno = errno;
    const size_t length = strnlen(text, k_ipc_log_line - 1);
    const mutex_guard guard(s_mutex);
    if (!s_has_writer) {
        start_writer();
    }
    if (s_left_out > 0 && monotonic_ns() - s_left_out_ns >= k_second_ns) {
        put_count(); // otherwise when the queue is empty
    }
    if (!put_line(priority, text, length) && s_left_out++ == 0) {
        s_left_out_ns = monotonic_ns();
    }
    pthread_cond_signal(&s_changed);
    errno = saved_errno;
}

[[gnu::format(printf, 2, 0)]] void write_formatted(int priority, const char *format, va_list args) {
    char text[k_ipc_log_line];
    if (std::vsnprintf(text, sizeof text, format, args) >= 0) {
        write_line(priority, text);
    }
}

} // namespace

bool ipc_log_flush(int32_t milliseconds) {
    const int saved_errno = errno;
    const uint32_t wanted = s_queued;
    const auto is_written = [=] { return static_cast<int32_t>(wanted - s_written) <= 0; };
    bool written = is_written();
    for (int64_t left = milliseconds * k_millisecond_ns; left > 0 && !written; left -= k_poll_ns) {
        sleep_ns(k_poll_ns);
        written = is_written();
    }
    errno = saved_errno;
    return written;
}

void ipc_log_open_as(const char *ident, int options, int facility) {
    s_ident = ident;
    s_options = options;
    s_facility = facility;
}

void ipc_log_for_clients() { t_for_clients = true; }

void ipc_log_err(const char *format, ...) {
    va_list args;
    va_start(args, format);
    write_formatted(LOG_ERR, format, args);
    va_end(args);
}

void ipc_log_warn(const char *format, ...) {
    va_list args;
    va_start(args, format);
    write_formatted(LOG_WARNING, format, args);
    va_end(args);
}

void ipc_log_notice(const char *format, ...) {
    va_list args;
    va_start(args, format);
    write_formatted(LOG_NOTICE, format, args);
    va_end(args);
}

void ipc_log_info(const char *format, ...) {
    va_list args;
    va_start(args, format);
    write_formatted(LOG_INFO, format, args);
    va_end(args);
}

void ipc_log_debug(const char *format, ...) {
    va_list args;
    va_start(args, format);
    write_formatted(LOG_DEBUG, format, args);
    va_end(args);
}

void ipc_log_alloc_limit() { write_line(LOG_DEBUG, k_alloc_limit); }

const char *safe_strerror(int error_number) {
    const char *text = strerrordesc_np(error_number);
    return text != nullptr ? text : "Unknown error";
}
