// The lines of a person at a terminal: edited, remembered, completed, helped with.

#include "apps/zopsh/history.h"
#include "apps/zopsh/idle.h"
#include "apps/zopsh/shell.h"
#include "apps/zopsh/terminal.h"
#include "lib/base/result.h"
#include "lib/cmds/cmds_modes.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cwchar>
#include <poll.h>
#include <unistd.h>

namespace {

shell *s_shell = nullptr; // whose lines are edited: libedit hands its callbacks no more than itself
std::string s_prompt;

char *prompt(EditLine * /*editor*/) { return s_prompt.data(); }

std::string line_before_cursor(EditLine *editor) {
    const LineInfo *const line = el_line(editor);
    return {line->buffer, line->cursor};
}

/// While the editor waits for a key, Ctrl-C is one; while the server is asked, it ends the wait.
template<typename F> auto interruptible(F ask) {
    const terminal_guard guard(terminal_keys::waiting);
    return ask();
}

unsigned char say(const char *failure) {
    std::fflush(stdout);
    std::fprintf(stderr, "zopsh: %s\n", failure);
    return CC_REDISPLAY;
}

std::string indented(const std::vector<std::string> &lines, const char *indent) {
    std::string text;
    for (const std::string &line : lines) {
        text += indent + line + "\n";
    }
    return text;
}

/// Whether a key is waiting while the editor has the terminal.
bool more_waits() {
    pollfd input = {STDIN_FILENO, POLLIN, 0};
    return ::poll(&input, 1, 0) > 0;
}

/// Where more is waiting, the key was pasted: it belongs to its word, a password perhaps.
unsigned char list_help(EditLine *editor, int /*key*/) {
    if (more_waits()) {
        return el_insertstr(editor, "?") == 0 ? CC_REFRESH : CC_ERROR;
    }
    std::fputs("?\n", stdout);
    std::fflush(stdout);
    const std::string line = line_before_cursor(editor);
    const shell_listing help = interruptible([&] { return shell_help(*s_shell, line); });
    if (help.failure != nullptr) {
        return say(help.failure);
    }
    const std::string text =
        help.lines.empty()
            ? interruptible([&] { return shell_explain(*s_shell, line, trouble::nothing_listed); })
            : indented(help.lines, "");
    ignore_result(pager_show(*s_shell, text)); // it has told itself
    return CC_REDISPLAY;
}

std::string common_beginning(const std::vector<std::string> &words) {
    std::string common = words.front();
    for (const std::string &word : words) {
        const auto end = std::mismatch(common.begin(), common.end(), word.begin(), word.end()).first;
        common.erase(end, common.end());
    }
    return common;
}

unsigned char complete(EditLine *editor, int /*key*/) {
    const std::string line = line_before_cursor(editor);
    const std::string typed = line.substr(line.find_last_of(" \t") + 1); // the last word; npos + 1 is 0
    const shell_listing words = interruptible([&] { return shell_completions(*s_shell, line); });
    if (words.failure != nullptr) {
        std::fputs("\n", stdout);
        return say(words.failure);
    }
    const std::string common = words.lines.empty() ? "" : common_beginning(words.lines);
    if (words.lines.empty() ||
        !common.starts_with(typed)) { // in a comment: the server completes another word
        return CC_REFRESH_BEEP;
    }
    const std::string rest = common.substr(typed.size()) + (words.lines.size() == 1 ? " " : "");
    if (!rest.empty()) {
        el_insertstr(editor, rest.c_str());
        return CC_REFRESH;
    }
    ignore_result(pager_show(*s_shell, "\n" + indented(words.lines, "  "))); // as above
    return CC_REDISPLAY;
}

void erase_line(EditLine *editor) {
    const LineInfo *const line = el_line(editor);
    el_cursor(editor, static_cast<int>(line->lastchar - line->cursor));
    el_deletestr(editor, static_cast<int>(line->lastchar - line->buffer));
}

unsigned char drop_line(EditLine *editor, int /*key*/) {
    std::fputs("^C\n", stdout);
    std::fflush(stdout);
    erase_line(editor);
    return CC_REDISPLAY;
}

unsigned char leave_configuration(EditLine *editor, int /*key*/) {
    if (s_shell->session.mode_id == k_mode_exec) {
        return CC_ERROR;
    }
    erase_line(editor);
    el_push(editor, "end\n");
    return CC_REFRESH;
}

/// The next key, as the editor reads it by itself, but not for ever. Returns 1, or 0 when there is none.
int read_key(EditLine * /*editor*/, wchar_t *key) {
    std::mbstate_t state{};
    while (idle_wait()) {
        char byte = 0;
        const ssize_t length = ::read(STDIN_FILENO, &byte, 1);
        if (length < 0 && errno == EINTR) {
            continue;
        }
        if (length <= 0) {
            return 0;
        }
        const size_t used = std::mbrtowc(key, &byte, 1, &state);
        if (used == 0 || used == 1) {
            return 1;
        }
        if (used == static_cast<size_t>(-1)) { // no character of this locale: left out
            state = {};
        }
    }
    return 0;
}

void set_up(EditLine *editor, History *history) {
    HistEvent event{};
    ::history(history, &event, H_SETSIZE, 200);
    ::history(history, &event, H_SETUNIQUE, 1);
    el_set(editor, EL_PROMPT, prompt);
    el_set(editor, EL_EDITOR, "emacs");
    el_set(editor, EL_HIST, ::history, history);
    el_set(editor, EL_SIGNAL, 0);
    el_set(editor, EL_GETCFN, read_key);
    el_set(editor, EL_ADDFN, "list-help", "List what can be typed", list_help);
    el_set(editor, EL_ADDFN, "complete", "Complete the word", complete);
    el_set(editor, EL_ADDFN, "drop-line", "Drop the line", drop_line);
    el_set(editor, EL_ADDFN, "leave-configuration", "Leave the configuration", leave_configuration);
    el_set(editor, EL_BIND, "?", "list-help", nullptr);
    el_set(editor, EL_BIND, "\t", "complete", nullptr);
    // The editor's own commands are none of the switch's, and a wrong one ends the program.
    el_set(editor, EL_BIND, "\\ex", "ed-unassigned", nullptr);
    el_set(editor, EL_SETTY, "-d", "-isig", nullptr); // so that Ctrl-C and Ctrl-Z are keys
    el_set(editor, EL_BIND, "^C", "drop-line", nullptr);
    el_set(editor, EL_BIND, "^Z", "leave-configuration", nullptr);
}

void remember(History *history, const char *line) {
    HistEvent event{};
    ::history(history, &event, H_ENTER, line);
}

/// The next command line; nothing when the user leaves.
std::optional<std::string> edit_line(EditLine *editor, History *history) {
    s_prompt = shell_prompt(*s_shell);
    el_resize(editor); // the terminal's size may have changed while the last line ran
    int length = 0;
    const char *const typed = el_gets(editor, &length);
    if (typed == nullptr || length <= 0) {
        std::fputs("\n", stdout); // Ctrl-D
        return std::nullopt;
    }
    std::string line(typed, static_cast<size_t>(length));
    line.erase(line.find_last_not_of("\r\n") + 1);
    if (line.find_first_not_of(" \t") != std::string::npos && shell_may_remember(*s_shell, line)) {
        remember(history, line.c_str());
    }
    return line;
}

// ---- lines that come faster than anybody types

constexpr int k_paste_pause_ms = 100; // nothing for so long: the end of what was pasted

/// Lines pasted at once: how many there have been, and which of them failed.
struct paste {
    int32_t count = 0;
    std::string failed;
};

/// Whether keys are waiting, or come within a time. What came while the editor had the terminal is no whole
/// line to the kernel, so that it is looked for as keys.
bool more_within(int milliseconds) {
    const terminal_guard guard(terminal_keys::single);
    pollfd input = {STDIN_FILENO, POLLIN, 0};
    return ::poll(&input, 1, milliseconds) > 0;
}

/// Notes what became of a line. When no more are waiting, those that failed are named: their complaints have
/// gone by.
void note(paste *pasted, bool done) {
    pasted->count++;
    if (!done) {
        pasted->failed += (pasted->failed.empty() ? "" : ", ") + std::to_string(pasted->count);
    }
    if (more_within(pasted->count > 1 ? k_paste_pause_ms : 0)) {
        return;
    }
    if (pasted->count > 1 && !pasted->failed.empty()) {
        std::fprintf(stderr, "zopsh: of %d lines these failed: %s\n", pasted->count, pasted->failed.c_str());
    }
    *pasted = {};
}

/// The answer to a question; nothing when there is none. A line that was pasted after the one that asks is no
/// answer, unless it is to be a secret one: it was meant as a command.
std::optional<std::string> answer() {
    if (s_shell->session.node_kind != k_cli_node_answer || !more_within(0)) {
        return shell_read_answer(s_shell);
    }
    std::printf("%s\n", s_shell->question.c_str());
    std::fflush(stdout);
    std::fputs("zopsh: not answered, since more lines were waiting\n", stderr);
    s_shell->session.node_kind = k_cli_node_command;
    return std::nullopt;
}

line_result run_lines(EditLine *editor, History *history) {
    for (paste pasted;;) {
        const bool asking = shell_is_asking(*s_shell);
        const std::optional<std::string> line = asking ? answer() : edit_line(editor, history);
        if (idle_is_over()) {
            return line_result::ended;
        }
        if (!line && asking) {
            continue; // with a command
        }
        if (!line) {
            return line_result::done;
        }
        const line_result result = shell_run(s_shell, *line);
        std::fflush(stdout);
        if (result == line_result::ended || result == line_result::no_server) {
            return result;
        }
        note(&pasted, result == line_result::done);
    }
}

} // namespace

line_result editor_run(shell *sh) {
    s_shell = sh;
    idle_begin(*sh);
    const terminal_guard guard(
        terminal_keys::waiting); // between the lines: the editor begins with what it finds
    EditLine *const editor = el_init("zopsh", stdin, stdout, stderr);
    History *const history = history_init();
    if (editor == nullptr || history == nullptr) {
        std::fprintf(stderr, "zopsh: cannot edit lines on this terminal\n");
        return line_result::failed;
    }
    set_up(editor, history);
    history_read(history);
    const line_result result = run_lines(editor, history);
    history_write(history);
    history_end(history);
    el_end(editor);
    return result;
}
