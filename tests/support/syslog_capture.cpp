#include "tests/support/syslog_capture.h"

#include "lib/base/log.h"

#include <cstdarg>
#include <cstdio>
#include <mutex>
#include <utility>

namespace {

constexpr size_t k_line_size = 4096;
constexpr int32_t k_patience_ms = 30000;

std::mutex &s_mutex = *new std::mutex; // guards all below
syslog_line &s_open = *new syslog_line;
// Never destroyed: a thread of the program may still log while it exits.
std::vector<syslog_line> &s_lines = *new std::vector<syslog_line>;
bool s_echo = false;

[[gnu::format(printf, 2, 0)]] void record_formatted(int priority, const char *format, va_list args) {
    char text[k_line_size];
    std::vsnprintf(text, sizeof text, format, args);
    const std::lock_guard<std::mutex> guard(s_mutex);
    syslog_line line = s_open;
    line.priority = priority;
    line.text = text;
    if (s_echo) {
        std::fprintf(stderr, "syslog %d: %s\n", priority, text);
    }
    s_lines.push_back(std::move(line));
}

} // namespace

std::vector<syslog_line> syslog_take() {
    ipc_log_flush(k_patience_ms);
    const std::lock_guard<std::mutex> guard(s_mutex);
    return std::exchange(s_lines, {});
}

std::vector<std::string> syslog_take_texts() {
    std::vector<std::string> texts;
    for (const syslog_line &line : syslog_take()) {
        texts.push_back(std::to_string(line.priority) + " " + line.text);
    }
    return texts;
}

void syslog_echo(bool on) {
    const std::lock_guard<std::mutex> guard(s_mutex);
    s_echo = on;
}

extern "C" {

void openlog(const char *ident, int options, int facility) {
    const std::lock_guard<std::mutex> guard(s_mutex);
    s_open = {ident, options, facility, 0, {}};
}

void closelog() {
    const std::lock_guard<std::mutex> guard(s_mutex);
    s_open = {};
}

[[gnu::format(printf, 2, 3)]] void syslog(int priority, const char *format, ...) {
    va_list args;
    va_start(args, format);
    record_formatted(priority, format, args);
    va_end(args);
}

// What the header turns syslog into in an optimised build.
[[gnu::format(printf, 3, 4)]] void syslog_checked(int priority, int flag, const char *format,
                                                  ...) __asm__("__syslog_chk");
void syslog_checked(int priority, int /*flag*/, const char *format, ...) {
    va_list args;
    va_start(args, format);
    record_formatted(priority, format, args);
    va_end(args);
}
}
