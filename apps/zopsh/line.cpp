#include "apps/zopsh/line.h"

#include <algorithm>

namespace {

constexpr const char *k_blanks = " \t\r\n\v\f";

} // namespace

std::vector<line_word> line_words(const std::string &line) {
    std::vector<line_word> words;
    for (size_t at = line.find_first_not_of(k_blanks); at != std::string::npos && line[at] != ';';) {
        const size_t end = std::min(line.find_first_of(k_blanks, at), line.size());
        words.push_back({at, end});
        at = line.find_first_not_of(k_blanks, end);
    }
    return words;
}

bool line_is_empty(const std::string &line) {
    const std::vector<line_word> words = line_words(line);
    return words.empty() || line[words.front().begin] == '#';
}

bool line_is_separator(const std::string &line) {
    const std::vector<line_word> words = line_words(line);
    return words.size() == 1 && line.substr(words[0].begin, words[0].end - words[0].begin) == "!";
}

std::optional<std::string> line_question(const std::string &line) {
    const std::vector<line_word> words = line_words(line);
    if (words.empty() || line[words.back().end - 1] != '?') {
        return std::nullopt;
    }
    return line.substr(0, words.back().end - 1);
}
