// What is wrong with a line, found out by asking the server what fits it word by word.

#include "apps/zopsh/line.h"
#include "apps/zopsh/shell.h"
#include "lib/cli/cli_match.h"

#include <algorithm>
#include <cctype>

namespace {

std::string marked(const std::string &line, size_t at, const std::string &why) {
    std::string shown = line;
    std::replace_if(
        shown.begin(), shown.end(), [](char c) { return static_cast<unsigned char>(c) < ' '; }, ' ');
    // The bytes of UTF-8 after the first one take no column.
    const auto place = line.begin() + static_cast<std::ptrdiff_t>(at);
    const auto columns = std::count_if(line.begin(), place, [](char c) { return (c & 0xC0) != 0x80; });
    return "  " + shown + "\n  " + std::string(static_cast<size_t>(columns), ' ') + "^ " + why + "\n";
}

std::string joined(const std::vector<std::string> &words, const char *between) {
    std::string text;
    for (const std::string &word : words) {
        text += (text.empty() ? "" : between) + word;
    }
    return text;
}

std::string not_known(const char *failure) { return std::string("  not known why: ") + failure + "\n"; }

/// A help text in the middle of a sentence: "The VLAN's id." as "the VLAN's id".
std::string as_clause(std::string help) {
    if (help.size() > 1 && std::islower(static_cast<unsigned char>(help[1])) != 0) {
        help[0] = static_cast<char>(std::tolower(static_cast<unsigned char>(help[0])));
    }
    help.erase(help.find_last_not_of(". ") + 1);
    return help;
}

/// What can stand at a place of a line.
struct expectation {
    const char *failure; // why it could not be asked for; null when it could
    std::vector<std::string> arguments;
    bool keywords;
};

/// Reads the help listing before a word: a name and perhaps its help on each line. A name in brackets is
/// one that may be left out.
expectation expected_after(const shell &sh, const std::string &beginning) {
    const shell_listing help = shell_help(sh, beginning);
    expectation found = {help.failure, {}, false};
    for (const std::string &line : help.lines) {
        const std::vector<line_word> words = line_words(line);
        const std::string name =
            words.empty() ? "" : line.substr(words[0].begin, words[0].end - words[0].begin);
        if (name.empty() || name == "<cr>") {
            continue;
        }
        if (name[0] != '[' && cli_classify(name.c_str()).kind == cli_word_kind::keyword) {
            found.keywords = true;
        } else {
            found.arguments.push_back(words.size() > 1 ? name + ": " + as_clause(line.substr(words[1].begin))
                                                       : name);
        }
    }
    return found;
}

/// Why a word cannot stand where it does.
std::string why_not(const expectation &expected, trouble what) {
    const std::string begin = what == trouble::nothing_listed ? "nothing fits; " : "";
    if (!expected.arguments.empty()) {
        return begin + "expected " + joined(expected.arguments, ", or ") +
               (expected.keywords ? "; ? lists what else fits" : "");
    }
    return begin + (expected.keywords ? "unknown here; ? lists what fits" : "nothing is expected here");
}

/// The values of a line whose words all fit, under the first of them. Which one the command took offence at
/// it has not said.
std::string explain_values(const shell &sh, const std::string &line, const std::vector<line_word> &values) {
    std::vector<std::string> all;
    for (const line_word &value : values) {
        const expectation expected = expected_after(sh, line.substr(0, value.begin));
        if (expected.failure != nullptr) {
            return not_known(expected.failure);
        }
        all.insert(all.end(), expected.arguments.begin(), expected.arguments.end());
    }
    return all.empty() ? "" : marked(line, values.front().begin, "expected " + joined(all, ", then "));
}

std::string explain(const shell &sh, const std::string &line, trouble what) {
    std::vector<line_word> values; // what is no keyword
    for (const line_word &word : line_words(line)) {
        const std::string up_to = line.substr(0, word.end);
        const std::string text = line.substr(word.begin, word.end - word.begin);
        const shell_listing candidates = shell_completions(sh, up_to);
        const shell_listing following = shell_help(sh, up_to + " ");
        if (candidates.failure != nullptr || following.failure != nullptr) {
            return not_known(candidates.failure != nullptr ? candidates.failure : following.failure);
        }
        const std::vector<std::string> &words = candidates.lines;
        if (what == trouble::no_match && words.size() > 1 &&
            std::find(words.begin(), words.end(), text) == words.end()) {
            return marked(line, word.begin, "ambiguous: " + joined(words, ", "));
        }
        if (following.lines.empty()) {
            const expectation expected = expected_after(sh, line.substr(0, word.begin));
            return expected.failure != nullptr ? not_known(expected.failure)
                                               : marked(line, word.begin, why_not(expected, what));
        }
        if (words.empty()) {
            values.push_back(word);
        }
    }
    switch (what) {
    case trouble::no_match:
        return marked(line, line.size(), "incomplete; ? lists what can follow");
    case trouble::wrong_argument:
        return explain_values(sh, line, values);
    case trouble::nothing_listed:
        break;
    }
    return "  nothing fits here\n";
}

} // namespace

std::string shell_explain(const shell &sh, const std::string &line, trouble what) {
    std::string text = explain(sh, line, what);
    const std::string shown = "  " + line + "\n";
    if (!text.starts_with(shown) || shell_may_remember(sh, line)) {
        return text;
    }
    const size_t mark = text.find('^', shown.size()); // a line with a secret is not shown again
    return "  line with a secret: " + text.substr(std::min(text.size(), mark + 2));
}
