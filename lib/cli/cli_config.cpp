#include "lib/cli/cli_config.h"

#include "lib/base/log.h"
#include "lib/cli/cli_match.h"
#include "lib/cli/cli_parser.h"

#include <cerrno>
#include <cstdio>
#include <memory>
#include <utility>

namespace {

bool s_loading = false;

constexpr size_t k_line_size = 256; // a longer line is taken in pieces of 255 characters

struct close_file {
    void operator()(std::FILE *file) const { std::fclose(file); }
};

/// Reads the next line, or the next piece of a longer one, as fgets does, but tells a line feed after a NUL,
/// too. Returns false at the end.
bool read_piece(std::FILE *file, char (&line)[k_line_size], bool *ended) {
    size_t length = 0;
    int byte = EOF;
    while (length < k_line_size - 1 && (byte = std::getc(file)) != EOF) {
        line[length++] = static_cast<char>(byte);
        if (byte == '\n') {
            break;
        }
    }
    line[length] = '\0';
    *ended = byte == '\n';
    return length > 0;
}

/// Runs one line. A first word that begins with '#' counts for nothing, so that it may stand alone.
bool replay_line(cli_session *session, const char *line) {
    cli_words words;
    cli_tokenise(&words, line);
    const bool hash = words.count > 0 && words.word[0][0] == '#';
    if (words.count - (hash ? 1 : 0) == 0) {
        return true;
    }
    if (words.word[0][0] == '!') {
        session->mode_id = k_cli_mode_config;
        return true;
    }
    return cli_session_execute(session, line) == 0;
}

using config_stream = std::unique_ptr<std::FILE, close_file>;

/// Runs the lines of a stream; null has none. `name` is for the log. Returns as cli_load_config.
int32_t replay(std::FILE *file, const char *name, void (*failed)(int32_t line)) {
    const int32_t outer_status = cli_last_status(); // of the line whose handler loads
    const bool outer_loading = std::exchange(s_loading, true);
    cli_session session{};
    session.mode_mask = k_cli_mask_config;
    session.mode_id = k_cli_mode_config;
    bool all_done = true;
    char line[k_line_size];
    int32_t number = 1;
    for (bool ended = false; file != nullptr && read_piece(file, line, &ended); number += ended ? 1 : 0) {
        if (!replay_line(&session, line)) {
            failed != nullptr ? failed(number) : ipc_log_warn("%s: line %d failed", name, number);
            all_done = false;
        }
    }
    const int error = file != nullptr && std::ferror(file) != 0 ? errno : 0;
    s_loading = outer_loading;
    cli_set_last_status(outer_status);
    if (error != 0) {
        errno = error;
        return -1;
    }
    return all_done ? 0 : k_cli_load_failed_lines;
}

} // namespace

bool cli_is_loading() { return s_loading; }

int32_t cli_load_config(const char *path, void (*failed)(int32_t line)) {
    const config_stream file(std::fopen(path, "re"));
    return file != nullptr ? replay(file.get(), path, failed) : -1;
}

int32_t cli_run_config(std::string text, void (*failed)(int32_t line)) {
    const config_stream file(text.empty() ? nullptr : ::fmemopen(text.data(), text.size(), "r"));
    return file != nullptr || text.empty() ? replay(file.get(), "", failed) : -1;
}
