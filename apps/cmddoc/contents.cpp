// Where which command is to be found.

#include "apps/cmddoc/cmddoc.h"

#include <algorithm>
#include <cctype>
#include <map>

namespace {

// Words that begin commands of more families than this say nothing: what follows them is looked for.
constexpr size_t k_families_max = 5;

using titles = std::vector<std::string>; // of families, in their order

/// The families in which a word begins commands, or in which it follows a certain first one.
using word_index = std::map<std::string, titles>;

std::vector<std::string_view> words_without_no(const cmds_row &row) {
    std::vector<std::string_view> words = cmddoc_words(row.form->line);
    if (row.form->kind == cmds_kind::undo) {
        words.erase(words.begin());
    }
    return words;
}

template<typename F> void each_row(F call) {
    for (const cmds_family *family : cmds_families()) {
        for (const cmds_row &row : std::span(family->rows, family->count)) {
            call(cmddoc_title(*family), words_without_no(row));
        }
    }
}

void add(word_index &index, std::string_view word, const std::string &title) {
    titles &in = index[std::string(word)];
    if (std::find(in.begin(), in.end(), title) == in.end()) {
        in.push_back(title);
    }
}

/// A word with a link to its family; with several, each is named.
std::string entry(const std::string &word, const titles &in) {
    if (in.size() == 1) {
        return cmddoc_link(cmddoc_code(word), in.front());
    }
    std::string text = cmddoc_code(word) + " (";
    for (const std::string &title : in) {
        text += (title == in.front() ? "" : ", ") + cmddoc_link(title, title);
    }
    return text + ')';
}

std::string entries(const word_index &index) {
    std::string text;
    for (const auto &[word, in] : index) {
        text += (text.empty() ? "" : " · ") + entry(word, in);
    }
    return text;
}

} // namespace

std::string cmddoc_contents() {
    word_index first;
    each_row([&](const std::string &title, const auto &words) { add(first, words[0], title); });
    for (const cmds_family *family : cmds_families()) {
        add(first, family->name, cmddoc_title(*family)); // all of them may be typed in a mode of their own
    }
    std::map<char, word_index> by_letter;
    std::map<std::string, word_index> second;
    for (const auto &[word, in] : first) {
        if (in.size() <= k_families_max) {
            by_letter[static_cast<char>(std::tolower(word.front()))][word] = in;
        } else {
            second[word];
        }
    }
    each_row([&](const std::string &title, const auto &words) {
        const auto found = second.find(std::string(words[0]));
        if (found != second.end() && words.size() > 1) {
            add(found->second, words[1], title);
        }
    });

    std::string md = "## Contents\n\nBy the first word, without \"no\":\n\n";
    for (const auto &[letter, index] : by_letter) {
        md += std::string("**") + letter + "** " + entries(index) + "\n\n";
    }
    for (const auto &[word, index] : second) {
        md += "**" + word + " …** " + entries(index) + "\n\n";
    }
    md += "In the order of the running configuration: ";
    const auto families = cmds_families();
    for (const cmds_family *family : families) {
        const std::string title = cmddoc_title(*family);
        md += (family == families.front() ? "" : " · ") + cmddoc_link(title, title);
    }
    return md + ".\n\n";
}
