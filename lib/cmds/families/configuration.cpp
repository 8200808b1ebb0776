// The configuration as a whole: shown, saved, and compared with what was saved.

#include "lib/base/take_piece.h"
#include "lib/cli/cli_output.h"
#include "lib/cmds/cmds_build.h"
#include "lib/cmds/cmds_config.h"
#include "lib/cmds/cmds_failures.h"
#include "lib/cmds/cmds_services.h"
#include "lib/cmds/cmds_session.h"
#include "lib/config/config_file.h"

#include <cerrno>
#include <cstring>
#include <memory>

namespace {

struct free_store {
    void operator()(config_store *store) const { config_free(store); }
};
using owned_store = std::unique_ptr<config_store, free_store>;

int32_t s_failed_lines = 0; // of the saved configuration that is being read

// ---- texts, with secrets or without

/// A line with a mark in the place of each secret word.
std::string masked(const config_line &line) {
    std::string text;
    std::string_view rest = line.line;
    for (uint32_t word = 0; !rest.empty(); word++) {
        const std::string_view next = take_piece(rest);
        text.append(text.empty() ? "" : " ").append((line.secret >> word & 1U) != 0 ? "********" : next);
    }
    return text;
}

void add_masked(const config_line &line, void *text) {
    static_cast<std::string *>(text)->append(masked(line)).push_back('\n');
}

std::string text_of(const config_store &store, bool with_secrets) {
    std::string text;
    if (with_secrets) {
        return config_text(store);
    }
    config_walk(store, add_masked, &text);
    return text;
}

void tell_failed(int32_t lines) {
    if (lines > 0) {
        cli_print("%% Lines of the saved configuration that cannot be run: %d\n", lines);
    }
}

/// Prints a configuration, by its lines where the session wants JSON; so many others cannot be run.
void print(const char *key, const config_store &store, bool with_secrets, int32_t failed) {
    const std::string text = text_of(store, with_secrets);
    if (cmds_wants_json()) {
        cli_print("%s\n", report_json_lines(key, text, failed).c_str());
    } else {
        tell_failed(failed);
        cli_print("%s", text.c_str());
    }
}

// ---- the saved configuration

void count_failed(int32_t /*line*/) { s_failed_lines++; }

/// Reads the saved configuration, or tells why it cannot be: null then.
owned_store read_saved() {
    owned_store saved(config_new());
    s_failed_lines = 0;
    if (cmds_read_config(k_cmds_saved_config, *saved, count_failed) == -1) {
        const int error = errno;
        error == ENOENT ? cli_print("%% No configuration has been saved\n")
                        : cli_print("%% The saved configuration cannot be read: %s\n", std::strerror(error));
        return nullptr;
    }
    return saved;
}

// ---- the commands

int32_t show_running(int32_t /*argc*/, const char *const * /*argv*/) {
    print("running_config", cmds_store(), cmds_is_administrator(), 0);
    return 0;
}

int32_t show_startup(int32_t /*argc*/, const char *const * /*argv*/) {
    const owned_store saved = read_saved();
    if (saved == nullptr) {
        return k_cmds_failed;
    }
    print("startup_config", *saved, false, s_failed_lines);
    return 0;
}

void add_difference(config_side side, const config_line &line, void *text) {
    const char *const mark = side == config_side::both ? "  " : side == config_side::first ? "- " : "+ ";
    static_cast<std::string *>(text)->append(mark).append(masked(line)).push_back('\n');
}

int32_t show_changes(int32_t /*argc*/, const char *const * /*argv*/) {
    const owned_store saved = read_saved();
    if (saved == nullptr) {
        return k_cmds_failed;
    }
    tell_failed(s_failed_lines);
    std::string text;
    if (config_compare(*saved, cmds_store(), add_difference, &text) == 0) {
        text = "Nothing has been changed since it was saved.\n";
    }
    cli_print("%s", text.c_str());
    return 0;
}

int32_t show_failures(int32_t /*argc*/, const char *const * /*argv*/) {
    cmds_print_report(cmds_report_failures());
    return 0;
}

int32_t write_memory(int32_t /*argc*/, const char *const * /*argv*/) {
    if (!config_save(cmds_store(), k_cmds_saved_config)) {
        cli_print("%% The configuration could not be saved: %s\n", std::strerror(errno));
        return k_cmds_failed;
    }
    return 0;
}

constexpr cmds_word k_words[] = {
    {"running-config", "The configuration as it is now."},
    {"startup-config", "The configuration that was saved."},
    {"changes", "What the saved one has not, or has otherwise."},
    {"failures", "Its lines that failed at the start."},
    {"write", "Save the configuration."},
    {"memory", "For the next start of the switch."},
};

constexpr cmds_form k_forms[] = {
    action(k_shown, "write memory", "Save the running configuration.").by(write_memory),
    show(k_shown, "show running-config", "Show the running configuration.").by(show_running),
    show(k_shown, "show running-config changes", "Show what has been changed since it was saved.")
        .by(show_changes),
    show(k_shown, "show startup-config", "Show the saved configuration.").by(show_startup),
    show(k_shown, "show startup-config failures", "Show the saved lines that failed at the start.")
        .by(show_failures),
};

} // namespace

CMDS_FAMILY(configuration, "write", {k_mask_config, 1, 0, 4});
