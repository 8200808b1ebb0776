#include "lib/base/invariant.h"

#include <array>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sys/time.h>
#include <syslog.h>
#include <unistd.h>

namespace {

// Half a second: what catches the abort may wait for the log once more.
constexpr itimerval k_patience = {{0, 0}, {0, 500000}};

void abort_at_once(int /*signal_number*/) { std::abort(); }

/// Whoever reads standard error or the system log may have stopped, which must not keep a broken process, or
/// have gone, which must not end it before the other is told.
void limit_telling() {
    std::signal(SIGPIPE, SIG_IGN);
    sigset_t alarm_only;
    sigemptyset(&alarm_only);
    sigaddset(&alarm_only, SIGALRM);
    std::signal(SIGALRM, abort_at_once);
    pthread_sigmask(SIG_UNBLOCK, &alarm_only, nullptr);
    ::setitimer(ITIMER_REAL, &k_patience, nullptr);
}

} // namespace

void invariant_failed(const invariant_site &site) {
    const char *folder_end = std::strrchr(site.source, '/');
    const char *name = folder_end == nullptr ? site.source : folder_end + 1;
    std::array<char, 512> text = {};
    std::snprintf(text.data(), text.size(), "%.*s:%d: %s: Assertion `%s' failed.",
                  static_cast<int>(std::strcspn(name, ".")), name, site.line, site.function, site.expression);
    limit_telling();
    std::fprintf(stderr, "%s\n", text.data());
    std::fflush(stderr);
    syslog(LOG_DAEMON | LOG_CRIT, "%s", text.data());
    std::abort();
}
