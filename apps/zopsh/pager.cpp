// The pager: a command's output a screen at a time, where somebody is there to read it.

#include "apps/zopsh/idle.h"
#include "apps/zopsh/shell.h"

#include "lib/base/io.h"
#include "lib/cli/buffer.h"
#include "lib/cmds/cmds_session.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

namespace {

struct free_buffer {
    void operator()(buffer *b) const { buffer_free(b); }
};

/// What a terminal would take for more than text becomes '?'.
std::string for_terminal(std::string text) {
    std::replace_if(
        text.begin(), text.end(),
        [](char c) {
            const auto byte = static_cast<unsigned char>(c);
            return (byte < ' ' && c != '\n' && c != '\t') || byte == 0x7F;
        },
        '?');
    return text;
}

struct screen {
    int32_t width;
    int32_t height;
};

/// Of the terminal, and not higher than the set length.
screen screen_size(const cli_session &session) {
    const int32_t length = cmds_screen_length(session);
    winsize size{};
    if (::ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col == 0 || size.ws_row == 0) {
        return {80, length};
    }
    return {size.ws_col, std::min<int32_t>(size.ws_row, length)};
}

/// One key, without waiting for the end of a line and without an echo; 'q' when there is none to be had.
char read_key() {
    termios before{};
    if (::tcgetattr(STDIN_FILENO, &before) != 0) {
        return 'q';
    }
    termios single = before;
    single.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO | ISIG);
    single.c_cc[VMIN] = 1;
    single.c_cc[VTIME] = 0;
    ::tcsetattr(STDIN_FILENO, TCSANOW, &single);
    char key = 'q';
    if (!idle_wait() || ::read(STDIN_FILENO, &key, 1) != 1) {
        key = 'q';
    }
    ::tcsetattr(STDIN_FILENO, TCSANOW, &before);
    return key;
}

constexpr char k_ctrl_c = 3;

/// Returns false when a screen cannot be written.
bool show_by_screens(buffer *b, const cli_session &session) {
    bool erase = false;
    bool one_line = false;
    while (b->head != nullptr) {
        const screen size = screen_size(session);
        // A line of text and one for the prompt.
        const int32_t height = one_line ? 2 : size.height;
        const int32_t result = buffer_flush_window(b, STDOUT_FILENO, size.width, height, erase, false);
        if (result != k_buffer_pending) {
            return result == k_buffer_empty;
        }
        char key = 0;
        do {
            key = read_key();
        } while (key != ' ' && key != '\r' && key != '\n' && key != 'q' && key != 'Q' && key != k_ctrl_c);
        if (key == 'q' || key == 'Q' || key == k_ctrl_c) {
            std::fputs("\r          \r", stdout); // over the prompt
            return std::fflush(stdout) == 0;
        }
        one_line = key != ' ';
        erase = true;
    }
    return true;
}

bool write_all(const std::string &text) {
    std::fflush(stdout);
    return write_full(STDOUT_FILENO, text.data(), text.size()) == static_cast<ssize_t>(text.size());
}

/// Tells a failure.
bool check(bool written) {
    if (!written) {
        std::fprintf(stderr, "zopsh: standard output: %s\n", std::strerror(errno));
    }
    return written;
}

} // namespace

bool pager_show_at_once(const shell &sh, const std::string &text) {
    return check(write_all(sh.for_people ? for_terminal(text) : text));
}

bool pager_show(const shell &sh, const std::string &text) {
    if (text.empty()) {
        return true;
    }
    const std::string shown = sh.for_people ? for_terminal(text) : text;
    const std::unique_ptr<buffer, free_buffer> queue(sh.pager ? buffer_new(0) : nullptr);
    if (queue == nullptr || buffer_put(queue.get(), shown.data(), shown.size()) != 0) {
        return check(write_all(shown));
    }
    std::fflush(stdout);
    return check(show_by_screens(queue.get(), sh.session));
}
