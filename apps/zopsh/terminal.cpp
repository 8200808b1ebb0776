#include "apps/zopsh/terminal.h"

#include <unistd.h>

terminal_guard::terminal_guard(terminal_keys keys)
    : m_is_terminal(::tcgetattr(STDIN_FILENO, &m_before) == 0) {
    if (!m_is_terminal) {
        return;
    }
    termios wanted = m_before;
    wanted.c_lflag |= ISIG;
    wanted.c_cc[VSUSP] = _POSIX_VDISABLE; // these would leave the terminal to others in a state not theirs
    wanted.c_cc[VQUIT] = _POSIX_VDISABLE;
    if (keys == terminal_keys::answer || keys == terminal_keys::secret) {
        wanted.c_lflag &= ~static_cast<tcflag_t>(ISIG);
        wanted.c_cc[VEOL] = m_before.c_cc[VINTR];
    }
    if (keys == terminal_keys::secret) {
        wanted.c_lflag &= ~static_cast<tcflag_t>(ECHO);
        wanted.c_lflag |= ECHONL;
    }
    if (keys == terminal_keys::single) {
        wanted.c_lflag &= ~static_cast<tcflag_t>(ICANON);
        wanted.c_cc[VMIN] = 1;
        wanted.c_cc[VTIME] = 0;
    }
    m_good = ::tcsetattr(STDIN_FILENO, TCSANOW, &wanted) == 0;
}

terminal_guard::~terminal_guard() {
    if (m_is_terminal) {
        ::tcsetattr(STDIN_FILENO, TCSANOW, &m_before);
    }
}
