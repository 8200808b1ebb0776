#include "lib/cli/cli_help.h"

#include "lib/cli/cli_match.h"
#include "lib/cli/cli_output.h"
#include "lib/cli/cli_tree_nodes.h"

#include <algorithm>
#include <cctype>
#include <cstring>

namespace {

constexpr uint32_t k_all_whole = (1U << k_cli_words_max) - 1;

uint32_t s_listing = 0; // number of the present listing; a known word remembers the one that last printed it

/// What a listing is about: the words before a position, and how strictly they must fit.
struct listing {
    int32_t count;
    const char *const *words;
    uint32_t whole;      // bit i: word i does not fit where it is only the beginning of the pattern's
    int32_t position;    // of the word to list
    const char *partial; // what the listed word begins with; "" for all
};

bool typed_word_fits(const char *input, const cli_known_word &word, bool whole) {
    return cli_prefix_match(input, word.pattern) && !(whole && cli_is_unfinished(input, word.text));
}

bool is_listed(const cli_entry &entry, uint32_t mode_mask, const listing &wanted) {
    if ((entry.command->mode_mask & mode_mask) == 0 || entry.words < wanted.count) {
        return false;
    }
    for (int32_t i = 0; i < wanted.count; i++) {
        if (!typed_word_fits(wanted.words[i], *entry.word[i], (wanted.whole >> i & 1U) != 0)) {
            return false;
        }
    }
    return true;
}

/// The words that are some command's as they stand: what only begins so is not meant, "vlan" is no
/// "vlan-stacking".
uint32_t find_whole(const cli_node &node, uint32_t mode_mask, int32_t count, const char *const *words) {
    uint32_t whole = 0;
    for (int32_t i = 0; i < count; i++) {
        const listing before = {i, words, whole, i, ""};
        const bool found = std::any_of(node.entries, node.entries + node.count, [&](const cli_entry *entry) {
            return is_listed(*entry, mode_mask, before) && i < entry->words &&
                   std::strcmp(entry->word[i]->text, words[i]) == 0;
        });
        whole |= found ? 1U << i : 0;
    }
    return whole;
}

const char *help_at(const cli_entry &entry, int32_t position) {
    return position < k_cli_help_slots ? entry.command->help[position] : nullptr;
}

/// The lines that one entry of a listing takes: a help text may have several.
int32_t lines_of(const char *help) {
    return 1 + (help != nullptr ? static_cast<int32_t>(std::count(help, help + std::strlen(help), '\n')) : 0);
}

/// Prints the word unless this listing has. Returns the number of lines.
int32_t list_word(cli_known_word &word, const char *help) {
    if (word.listed == s_listing) {
        return 0;
    }
    word.listed = s_listing;
    if (help != nullptr) {
        cli_print("  %-14s  %s\n", word.text, help);
    } else {
        cli_print("  %-15s \n", word.text);
    }
    return lines_of(help);
}

/// A keyword that does not begin so is not wanted. What the user may type as an argument is shown in any
/// case.
bool is_wanted(const char *partial, const cli_pattern_word &pattern) {
    return pattern.kind != cli_word_kind::keyword ||
           std::strncmp(partial, pattern.text, std::strlen(partial)) == 0;
}

int32_t list_entry(const cli_entry &entry, const listing &wanted) {
    const char *const help = help_at(entry, wanted.position);
    if (wanted.position < entry.words) {
        cli_known_word &word = *entry.word[wanted.position];
        return is_wanted(wanted.partial, word.pattern) ? list_word(word, help) : 0;
    }
    if (help == nullptr || wanted.partial[0] != '\0') {
        return 0;
    }
    cli_print("  %-15s\n", help);
    return lines_of(help);
}

int32_t print_listing(const cli_session &session, const listing &wanted) {
    const cli_node *const node = cli_find_node(session.mode_id);
    if (node == nullptr || wanted.position < 0 || wanted.position >= k_cli_words_max) {
        return 0;
    }
    s_listing++;
    int32_t lines = 0;
    for (size_t i = 0; i < node->count; i++) {
        if (is_listed(*node->entries[i], session.mode_mask, wanted)) {
            lines += list_entry(*node->entries[i], wanted);
        }
    }
    return lines;
}

// ---- completion

/// Prints the choices that go on from what was typed.
struct completion {
    const char *partial;
    int32_t lines;
};

bool print_choice(const char *choice, size_t length, void *context) {
    auto &done = *static_cast<completion *>(context);
    const size_t typed = std::strlen(done.partial);
    if (typed <= length && std::strncmp(done.partial, choice, typed) == 0) {
        cli_print("%.*s\n", static_cast<int>(length), choice);
        done.lines++;
    }
    return false;
}

void complete_word(cli_known_word &word, completion &done) {
    if (word.listed == s_listing) {
        return;
    }
    word.listed = s_listing;
    if (word.pattern.kind == cli_word_kind::alternatives) {
        cli_each_choice(word.text, print_choice, &done);
    } else if (word.pattern.kind == cli_word_kind::keyword) {
        print_choice(word.text, std::strlen(word.text), &done);
    }
}

/// A line split into what stands before its last word and that word, "" when the line ends in a blank.
struct unfinished_line {
    cli_words words;
    int32_t before;
    const char *partial;
};

void split_last_word(unfinished_line *split, const char *line) {
    cli_tokenise(&split->words, line);
    const size_t length = std::strlen(line);
    const bool begun = length > 0 && std::isspace(static_cast<unsigned char>(line[length - 1])) == 0;
    split->before = split->words.count - (begun && split->words.count > 0 ? 1 : 0);
    split->partial = split->before < split->words.count ? split->words.word[split->before] : "";
}

listing listing_of(const cli_session &session, const unfinished_line &split) {
    const cli_node *const node = cli_find_node(session.mode_id);
    const uint32_t whole =
        node != nullptr ? find_whole(*node, session.mode_mask, split.before, split.words.word) : 0;
    return {split.before, split.words.word, whole, split.before, split.partial};
}

} // namespace

int32_t cli_list_next_words(const cli_session &session, int32_t offset, int32_t count,
                            const char *const *words) {
    if (count < 0 || count > k_cli_words_max || offset < -k_cli_words_max || offset > k_cli_words_max) {
        return 0;
    }
    return print_listing(session, {count, words, k_all_whole, count + offset - 1, ""});
}

int32_t cli_help_line(const cli_session &session, const char *line) {
    unfinished_line split;
    split_last_word(&split, line);
    return print_listing(session, listing_of(session, split));
}

int32_t cli_complete_line(const cli_session &session, const char *line) {
    unfinished_line split;
    split_last_word(&split, line);
    const cli_node *const node = cli_find_node(session.mode_id);
    if (node == nullptr || split.before >= k_cli_words_max) {
        return 0;
    }
    s_listing++;
    completion done = {split.partial, 0};
    const listing wanted = listing_of(session, split);
    for (size_t i = 0; i < node->count; i++) {
        const cli_entry &entry = *node->entries[i];
        if (is_listed(entry, session.mode_mask, wanted) && wanted.position < entry.words) {
            complete_word(*entry.word[wanted.position], done);
        }
    }
    return done.lines;
}
