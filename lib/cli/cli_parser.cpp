#include "lib/cli/cli_parser.h"

#include "lib/base/invariant.h"
#include "lib/cli/cli_match.h"
#include "lib/cli/cli_output.h"
#include "lib/cli/cli_tree_nodes.h"

#include <cstring>
#include <iterator>
#include <utility>

namespace {

constexpr int32_t k_wrong_argument = -1;

constexpr int32_t k_first_submode = 2; // modes that "!" goes back to the configuration from
constexpr int32_t k_last_submode = 28;

constexpr int32_t k_prompt_kinds = k_cli_node_secret;

cli_session s_session = {};                       // of the line that is being run
int32_t s_last_status = k_cli_status_done;        // of the last line
const cli_command *s_running = nullptr;           // null: no handler is being called
cli_prompt_fn s_prompts[k_prompt_kinds + 1] = {}; // by node kind; null: nobody takes that kind

// ---- recording of the configuration: an extension point. Each row is for one context, 5 to 26, that the
// session can be in, and records nothing yet.

constexpr int32_t k_context_mode_26 = 26; // recorded only in the mode of the same number

struct recorder {
    int32_t context;
    int32_t (*record)(const char *command, int32_t argc, const char *const *argv);
};

int32_t record_nothing(const char * /*command*/, int32_t /*argc*/, const char *const * /*argv*/) { return 0; }

constexpr recorder k_recorders[] = {{11, record_nothing}, {15, record_nothing}, {26, record_nothing}};

void record(const char *command, int32_t argc, const char *const *argv) {
    for (const recorder &row : k_recorders) {
        const bool right_mode = row.context != k_context_mode_26 || s_session.mode_id == k_context_mode_26;
        if (row.context == s_session.recording && right_mode) {
            row.record(command, argc, argv);
        }
    }
}

// ---- matching a line

/// Whether one of the words, taken from the top of the tree, fits more than one keyword and is none of them
/// in full. It is decided at the second that fits: an exact one after it would come too late.
bool is_ambiguous(const cli_tree_node *list, const cli_words &line) {
    for (int32_t i = 0; i < line.count && list != nullptr; i++) {
        const cli_tree_node *fits = nullptr;
        const cli_tree_node *exact = nullptr;
        int32_t count = 0;
        for (const cli_tree_node *node = list; node != nullptr && count < 2; node = node->next) {
            if ((node->mode_bit & s_session.mode_mask) == 0) {
                continue;
            }
            if (cli_exact_match(line.word[i], node->word->pattern)) {
                exact = node;
            }
            if (cli_prefix_match(line.word[i], node->word->pattern)) {
                fits = node;
                count++;
            }
        }
        if (count >= 2) {
            if (exact == nullptr) {
                return true;
            }
            fits = exact;
        }
        list = fits != nullptr ? fits->child : nullptr;
    }
    return false;
}

/// Whether the words of an entry from `first` to before `end` fit those of the line.
bool words_fit(const cli_entry &entry, const cli_words &line, int32_t first, int32_t end) {
    for (int32_t i = first; i < end; i++) {
        if (!cli_prefix_match(line.word[i], entry.word[i]->pattern)) {
            return false;
        }
    }
    return true;
}

bool is_candidate(const cli_entry &entry, const cli_words &line) {
    return (entry.command->mode_mask & s_session.mode_mask) != 0 && entry.command_words <= line.count &&
           words_fit(entry, line, 0, entry.command_words);
}

/// Whether a word was typed in full as it is in one candidate, and is only the beginning of the other's, as
/// "http" is of "https".
bool means_first(const cli_entry &first, const cli_entry &other, const cli_words &line) {
    for (int32_t i = 0; i < first.command_words && i < other.command_words; i++) {
        const bool in_full = cli_exact_match(line.word[i], first.word[i]->pattern);
        if (in_full != cli_exact_match(line.word[i], other.word[i]->pattern)) {
            return in_full;
        }
    }
    return false;
}

/// What the candidates of a line come to.
struct selection {
    const cli_entry *called;   // fits in full; null when none does
    const cli_entry *fallback; // the last candidate that takes no arguments, but for those that are not meant
    bool any;
    bool last_failed; // the last candidate that was compared in full did not fit
};

selection select_entry(const cli_node &node, const cli_words &line) {
    selection result = {};
    for (size_t i = 0; i < node.count; i++) {
        const cli_entry &entry = *node.entries[i];
        if (!is_candidate(entry, line)) {
            continue;
        }
        result.any = true;
        if (entry.words <= line.count) {
            result.last_failed = !words_fit(entry, line, entry.command_words, entry.words);
            if (!result.last_failed && entry.words == line.count && entry.command->handler != nullptr) {
                result.called = &entry;
                return result;
            }
        }
        if (entry.command->pattern == nullptr &&
            (result.fallback == nullptr || !means_first(*result.fallback, entry, line))) {
            result.fallback = &entry;
        }
    }
    return result;
}

int32_t call_handler(const cli_entry &entry, const cli_words &line) {
    s_last_status = k_cli_status_done;
    const int32_t argc = line.count - entry.command_words;
    const char *const *const argv = line.word + entry.command_words;
    const cli_command *const outer =
        std::exchange(s_running, entry.command); // of the handler that runs this line
    const int32_t result = entry.command->handler(argc, argv);
    s_running = outer;
    if (result == k_wrong_argument) {
        cli_print("%% Wrong argument\n");
    } else if (result == 0) {
        record(entry.command->words, argc, argv);
    }
    return result;
}

int32_t execute(const cli_words &line) {
    s_last_status = k_cli_status_no_match;
    if (line.count == 0) {
        return -1;
    }
    const cli_node *const node = cli_find_node(s_session.mode_id);
    if (node == nullptr || is_ambiguous(node->root, line)) {
        return -1;
    }
    const selection chosen = select_entry(*node, line);
    if (chosen.called != nullptr) {
        return call_handler(*chosen.called, line);
    }
    if (chosen.fallback == nullptr || chosen.fallback->command->handler == nullptr) {
        return -1;
    }
    if (chosen.last_failed) {
        s_last_status = k_cli_status_done;
        cli_print("%% Wrong argument\n");
        return -1;
    }
    return call_handler(*chosen.fallback, line);
}

int32_t answer_prompt(const char *line) {
    const int32_t kind = s_session.node_kind;
    if (kind < k_cli_node_answer || kind > k_prompt_kinds || s_prompts[kind] == nullptr) {
        s_last_status = k_cli_status_no_match;
        return -1;
    }
    s_last_status = k_cli_status_done;
    return s_prompts[kind](line);
}

int32_t dispatch(const char *line) {
    if (s_session.node_kind != k_cli_node_command) {
        return answer_prompt(line);
    }
    cli_words words;
    cli_tokenise(&words, line);
    const bool in_submode = s_session.mode_id >= k_first_submode && s_session.mode_id <= k_last_submode;
    if (in_submode && words.count == 1 && std::strcmp(words.word[0], "!") == 0) {
        s_session.mode_id = k_cli_mode_config;
        s_last_status = k_cli_status_done;
        return 0;
    }
    return execute(words);
}

} // namespace

int32_t cli_session_execute(cli_session *session, const char *line) {
    const cli_session outer = s_session; // of the line whose handler runs this one
    s_session = *session;
    const int32_t result = dispatch(line);
    *session = s_session;
    s_session = outer;
    return result;
}

int32_t cli_session_mode() { return s_session.mode_id; }
uint32_t cli_session_mask() { return s_session.mode_mask; }
const cli_command *cli_running_command() { return s_running; }

void cli_session_enter(int32_t mode_id, uint32_t mode_mask) {
    s_session.mode_id = mode_id;
    s_session.mode_mask = mode_mask;
}

std::optional<int32_t> cli_session_number(size_t place, int32_t low, int32_t high) {
    INVARIANT(place < std::size(s_session.values));
    const int32_t value = s_session.values[place];
    return value >= low && value <= high ? std::optional(value) : std::nullopt;
}

std::optional<uint32_t> cli_session_bits(size_t place, uint32_t allowed) {
    INVARIANT(place < std::size(s_session.values));
    const auto bits = static_cast<uint32_t>(s_session.values[place]);
    return bits != 0 && (bits & ~allowed) == 0 ? std::optional(bits) : std::nullopt;
}

void cli_session_set(size_t place, int32_t value) {
    INVARIANT(place < std::size(s_session.values));
    s_session.values[place] = value;
}

void cli_session_expect(int32_t node_kind) { s_session.node_kind = node_kind; }

int32_t cli_last_status() { return s_last_status; }

void cli_set_last_status(int32_t status) { s_last_status = status; }

void cli_set_prompt_handler(int32_t node_kind, cli_prompt_fn handler) {
    if (node_kind >= k_cli_node_answer && node_kind <= k_prompt_kinds) {
        s_prompts[node_kind] = handler;
    }
}
