#include "lib/ipc/ipc_log.h"

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <pthread.h>
#include <syslog.h>

namespace {

constexpr const char *k_alloc_limit =
    "Dynamic allocation limit crossed, it may be a memory leak in the daemon\n";

// Held from opening to closing: a close in another thread would take the ident from under an open log.
pthread_mutex_t s_log_mutex = PTHREAD_MUTEX_INITIALIZER;

void write_line(int priority, const char *text) {
    const int saved_errno = errno;
    pthread_mutex_lock(&s_log_mutex);
    openlog(k_ipc_log_ident, LOG_PID | LOG_CONS | LOG_NDELAY, LOG_SYSLOG);
    syslog(priority, "%s", text);
    closelog();
    pthread_mutex_unlock(&s_log_mutex);
    errno = saved_errno;
}

[[gnu::format(printf, 2, 0)]] void write_formatted(int priority, const char *format, va_list args) {
    char text[k_ipc_log_line];
    if (std::vsnprintf(text, sizeof text, format, args) >= 0) {
        write_line(priority, text);
    }
}

} // namespace

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
