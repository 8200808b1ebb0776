#pragma once

#include <termios.h>

/// What the keys of the terminal do outside the editor. None suspends or ends the program.
enum class terminal_keys {
    waiting, // Ctrl-C interrupts what is waited for
    answer,  // Ctrl-C ends the line and stands at its end: as a signal it might come just before the line is
             // read
    secret,  // as answer, and nothing that is typed is shown
    single,  // as waiting, and each key can be read at once
};

/// Makes the keys of standard input do so while it lives. Whatever is no terminal is left as it is.
class terminal_guard {
public:
    explicit terminal_guard(terminal_keys keys);
    ~terminal_guard();
    terminal_guard(const terminal_guard &) = delete;
    terminal_guard &operator=(const terminal_guard &) = delete;

    /// Whether the keys do so; errno says why not.
    [[nodiscard]] bool is_good() const { return m_good; }
    /// Ctrl-C, or what it is for this user.
    [[nodiscard]] char interrupt() const { return static_cast<char>(m_before.c_cc[VINTR]); }

private:
    termios m_before = {};
    bool m_is_terminal;
    bool m_good = true;
};
