#include "apps/zopsh/shell.h"

#include <algorithm>

namespace {

constexpr const char *k_blanks = " \t\r\n\v\f";

struct typed_word {
    size_t begin;
    size_t end;
};

std::vector<typed_word> words_of(const std::string &line) {
    std::vector<typed_word> words;
    for (size_t at = line.find_first_not_of(k_blanks); at != std::string::npos && line[at] != ';';) {
        const size_t end = std::min(line.find_first_of(k_blanks, at), line.size());
        words.push_back({at, end});
        at = line.find_first_not_of(k_blanks, end);
    }
    return words;
}

std::string marked(const std::string &line, size_t at, const std::string &why) {
    std::string shown = line;
    std::replace_if(
        shown.begin(), shown.end(), [](char c) { return static_cast<unsigned char>(c) < ' '; }, ' ');
    return "  " + shown + "\n  " + std::string(at, ' ') + "^ " + why + "\n";
}

std::string listed(const std::vector<std::string> &words) {
    std::string text;
    for (const std::string &word : words) {
        text += (text.empty() ? "" : ", ") + word;
    }
    return text;
}

std::string not_known(const char *failure) { return std::string("  not known why: ") + failure + "\n"; }

} // namespace

std::string shell_explain(const shell &sh, const std::string &line) {
    for (const typed_word &word : words_of(line)) {
        const std::string up_to = line.substr(0, word.end);
        const std::string text = line.substr(word.begin, word.end - word.begin);
        const shell_answer candidates = shell_completions(sh, up_to);
        if (candidates.failure != nullptr) {
            return not_known(candidates.failure);
        }
        const std::vector<std::string> &words = candidates.lines;
        if (words.size() > 1 && std::find(words.begin(), words.end(), text) == words.end()) {
            return marked(line, word.begin, "ambiguous: " + listed(words));
        }
        const shell_answer following = shell_help(sh, up_to + " ");
        if (following.failure != nullptr) {
            return not_known(following.failure);
        }
        if (following.lines.empty()) {
            return marked(line, word.begin, "unknown here; ? lists what fits");
        }
    }
    return marked(line, line.size(), "incomplete; ? lists what can follow");
}
