#include "lib/cli/cli_tree.h"

#include "lib/cli/cli_output.h"
#include "lib/cli/cli_tree_nodes.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <span>

namespace {

constexpr size_t k_buckets = 256;

cli_known_word *s_words[k_buckets] = {}; // by hash, in no order
cli_node *s_nodes = nullptr;
size_t s_node_count = 0;

std::span<cli_node> nodes() { return {s_nodes, s_node_count}; }

size_t hash(const char *text) {
    uint32_t value = 0;
    for (; *text != '\0'; text++) {
        value = value * 31 + static_cast<unsigned char>(*text);
    }
    return value % k_buckets;
}

/// The word with this text, made when there is none yet; null when memory is out.
cli_known_word *know_word(const char *text) {
    cli_known_word *&bucket = s_words[hash(text)];
    for (cli_known_word *word = bucket; word != nullptr; word = word->next) {
        if (std::strcmp(word->text, text) == 0) {
            return word;
        }
    }
    const size_t size = std::strlen(text) + 1;
    auto *const word = static_cast<cli_known_word *>(std::malloc(sizeof(cli_known_word) + size));
    if (word == nullptr) {
        return nullptr;
    }
    std::memcpy(word->text, text, size);
    word->pattern = cli_classify(word->text);
    word->listed = 0;
    word->next = bucket;
    bucket = word;
    return word;
}

/// Makes room for one more element of a growable array.
template<typename T> bool grow(T *&array, size_t count, size_t &room) {
    if (count < room) {
        return true;
    }
    const size_t wanted = room == 0 ? 8 : room * 2;
    // NOLINTNEXTLINE(bugprone-sizeof-expression): an element may well be a pointer
    auto *const grown = static_cast<T *>(std::realloc(array, wanted * sizeof(T)));
    if (grown == nullptr) {
        return false;
    }
    array = grown;
    room = wanted;
    return true;
}

cli_node *find_or_make_node(int32_t mode_id) {
    static size_t s_room = 0;
    for (cli_node &node : nodes()) {
        if (node.mode_id == mode_id) {
            return &node;
        }
    }
    if (!grow(s_nodes, s_node_count, s_room)) {
        return nullptr;
    }
    s_nodes[s_node_count] = {mode_id, nullptr, 0, 0, nullptr};
    return &s_nodes[s_node_count++];
}

/// Splits a pattern; false when it has more words or longer ones than can be kept.
bool split(cli_words *words, const char *pattern) {
    char longer[k_cli_line_size + 3];
    if (std::strlen(pattern) >= k_cli_line_size) {
        return false;
    }
    cli_tokenise(words, pattern);
    if (words->count == k_cli_words_max) {
        // One word too many would have been dropped; it shows after the last one kept.
        const auto rest = static_cast<size_t>(words->word[k_cli_words_max - 1] - words->text);
        std::snprintf(longer, sizeof longer, "%s", pattern + rest + std::strlen(words->text + rest));
        cli_words more;
        cli_tokenise(&more, longer);
        if (more.count > 0) {
            return false;
        }
    }
    return std::all_of(words->word, words->word + words->count,
                       [](const char *word) { return std::strlen(word) <= k_cli_pattern_word_max; });
}

cli_entry *new_entry(const cli_command *command) {
    char pattern[2 * k_cli_line_size];
    const int length = std::snprintf(pattern, sizeof pattern, "%s %s", command->words,
                                     command->pattern != nullptr ? command->pattern : "");
    cli_words words;
    cli_words keywords;
    if (length < 0 || static_cast<size_t>(length) >= sizeof pattern || !split(&words, pattern) ||
        !split(&keywords, command->words) || words.count == 0) {
        return nullptr;
    }
    // NOLINTNEXTLINE(bugprone-sizeof-expression): the entry ends in pointers
    const size_t size = sizeof(cli_entry) + static_cast<size_t>(words.count) * sizeof(cli_known_word *);
    auto *const entry = static_cast<cli_entry *>(std::malloc(size));
    if (entry == nullptr) {
        return nullptr;
    }
    entry->command = command;
    entry->command_words = keywords.count;
    entry->words = words.count;
    for (int32_t i = 0; i < words.count; i++) {
        entry->word[i] = know_word(words.word[i]);
        if (entry->word[i] == nullptr) {
            std::free(entry);
            return nullptr;
        }
    }
    return entry;
}

/// The entry of a command, which modes share that it is installed in one after the other; null when it cannot
/// be made.
cli_entry *make_entry(const cli_command *command) {
    static cli_entry *s_last = nullptr;
    if (s_last == nullptr || s_last->command != command) {
        s_last = new_entry(command);
    }
    return s_last;
}

/// The entries of a node that have these words.
std::span<cli_entry *> find_entries(const cli_node &node, const char *words) {
    cli_entry **const end = node.entries + node.count;
    cli_entry **const first =
        std::lower_bound(node.entries, end, words, [](const cli_entry *entry, const char *wanted) {
            return std::strcmp(entry->command->words, wanted) < 0;
        });
    cli_entry **const last = std::find_if_not(
        first, end, [=](const cli_entry *entry) { return std::strcmp(entry->command->words, words) == 0; });
    return {first, last};
}

bool has_pattern(const cli_entry *entry, const char *pattern) {
    return entry->command->pattern != nullptr && pattern != nullptr &&
           std::strcmp(entry->command->pattern, pattern) == 0;
}

/// The child with this word in an ascending list, put there when it is missing; null when memory is out.
cli_tree_node *find_or_make_child(cli_tree_node **link, cli_known_word *word, uint32_t mode_mask) {
    int order = 1;
    while (*link != nullptr && (order = std::strcmp((*link)->word->text, word->text)) < 0) {
        link = &(*link)->next;
    }
    if (*link != nullptr && order == 0) {
        return *link;
    }
    auto *const made = new (std::nothrow) cli_tree_node{word, mode_mask & (~mode_mask + 1), *link, nullptr};
    if (made == nullptr) {
        std::printf("node malloc fail");
        return nullptr;
    }
    *link = made;
    return made;
}

void add_to_tree(cli_node *node, const cli_entry &entry) {
    cli_tree_node **children = &node->root;
    for (int32_t i = 0; i < entry.words; i++) {
        cli_tree_node *const child = find_or_make_child(children, entry.word[i], entry.command->mode_mask);
        if (child == nullptr) {
            return;
        }
        children = &child->child;
    }
}

void print_subtree(const cli_tree_node *first, int32_t depth) {
    for (const cli_tree_node *node = first; node != nullptr; node = node->next) {
        for (int32_t i = 0; i < depth; i++) {
            cli_print("%10s", "");
        }
        cli_print("%s \n", node->word->text);
        print_subtree(node->child, depth + 1);
    }
}

} // namespace

int32_t cli_install(int32_t mode_id, const cli_command *command) {
    cli_node *const node = find_or_make_node(mode_id);
    if (node == nullptr) {
        return -1;
    }
    const auto same = find_entries(*node, command->words);
    if (std::any_of(same.begin(), same.end(),
                    [=](const cli_entry *entry) { return has_pattern(entry, command->pattern); })) {
        return -1;
    }
    const auto place = same.data() + same.size() - node->entries;
    if (!grow(node->entries, node->count, node->room)) {
        return -1;
    }
    cli_entry *const entry = make_entry(command);
    if (entry == nullptr) {
        return -1;
    }
    cli_entry **const end = node->entries + node->count;
    std::copy_backward(node->entries + place, end, end + 1);
    node->entries[place] = entry;
    node->count++;
    add_to_tree(node, *entry);
    return 0;
}

const cli_node *cli_find_node(int32_t mode_id) {
    const auto all = nodes();
    const auto found =
        std::find_if(all.begin(), all.end(), [=](const cli_node &n) { return n.mode_id == mode_id; });
    return found != all.end() ? &*found : nullptr;
}

size_t cli_command_count(int32_t mode_id) {
    const cli_node *const node = cli_find_node(mode_id);
    return node != nullptr ? node->count : 0;
}

void cli_dump_tree() {
    for (const cli_node &node : nodes()) {
        cli_print("##### NODE%3d ######\n", node.mode_id);
        for (size_t i = 0; i < node.count; i++) {
            cli_print("cmd %s \n", node.entries[i]->command->words);
        }
        print_subtree(node.root, 0);
    }
}
