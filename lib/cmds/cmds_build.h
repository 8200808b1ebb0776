#pragma once

#include "lib/cli/cli_match.h"
#include "lib/cmds/cmds_family.h"
#include "lib/cmds/cmds_modes.h"
#include "lib/cmds/cmds_words.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <string_view>

// How the compiler makes the rows of a family, for the sources of families: such a source has a table
// `k_words` of the help texts of its words and a table `k_forms` of its commands, and ends in CMDS_FAMILY.
// What could not be installed or explained is refused: the compiler names the form by its number, from 0, and
// the fault. Written for few steps of evaluation, which compilers limit.

/// How many forms of a family there are for a mask, by what stands first: settings and actions, "no", "show".
struct cmds_counts {
    uint32_t mask;
    size_t others;
    size_t undo;
    size_t show;
    constexpr bool operator==(const cmds_counts &) const = default;
};

namespace cmds_build {

constexpr std::string_view k_described = "<cr>            "; // in front of what a complete line does
constexpr size_t k_words_max = k_cli_help_slots - 1;         // one slot is for the complete line

constexpr bool same(std::string_view a, std::string_view b) {
    return a.size() == b.size() &&
           (a.empty() || (a.back() == b.back() && __builtin_memcmp(a.data(), b.data(), a.size()) == 0));
}

/// The words of a form's line.
struct line_words {
    std::array<std::string_view, k_words_max> word{};
    size_t count = 0;          // k_words_max + 1: too many
    size_t arguments = 0;      // of which so many are no keywords
    std::string_view keywords; // the part of the line in front of the first argument
    std::string_view pattern;  // the part from there on
    std::string_view stem;     // the keywords that its settings have in common, without "no"
};

constexpr bool is_capital(char c) { return c >= 'A' && c <= 'Z'; }
constexpr bool is_small(char c) { return c >= 'a' && c <= 'z'; }

constexpr bool is_type(std::string_view word) {
    return is_capital(word.front()) && std::any_of(std::begin(k_cli_type_names), std::end(k_cli_type_names),
                                                   [=](std::string_view name) { return same(name, word); });
}

constexpr bool is_argument(std::string_view word) {
    return word.front() == '<' || word.front() == '(' || is_type(word);
}

/// Capitals and no small letters: meant as a type.
constexpr bool looks_like_type(std::string_view word) {
    return is_capital(word.front()) && std::none_of(word.begin(), word.end(), is_small);
}

constexpr void add_word(line_words &words, std::string_view line, std::string_view word) {
    if (words.count < k_words_max) {
        words.word[words.count] = word;
    }
    words.count += words.count <= k_words_max ? 1 : 0;
    if (is_argument(word)) {
        if (words.arguments++ == 0) {
            words.pattern = line.substr(static_cast<size_t>(word.data() - line.data()));
        }
    } else if (words.arguments == 0) {
        words.keywords = line.substr(0, static_cast<size_t>(word.data() - line.data()) + word.size());
    }
}

constexpr line_words split(const cmds_form &form) {
    line_words words;
    size_t begin = 0;
    for (size_t at = 0; at <= form.line.size(); at++) {
        if (at < form.line.size() && form.line[at] != ' ') {
            continue;
        }
        if (at > begin) {
            add_word(words, form.line, form.line.substr(begin, at - begin));
        }
        begin = at + 1;
    }
    const bool undoing = form.kind == cmds_kind::undo && words.keywords.size() > 3;
    words.stem = !form.same.empty() ? form.same : words.keywords.substr(undoing ? 3 : 0);
    return words;
}

template<size_t count, typename Forms> constexpr std::array<line_words, count> split_all(const Forms &forms) {
    std::array<line_words, count> all{};
    for (size_t i = 0; i < count; i++) {
        all[i] = split(forms[i]);
    }
    return all;
}

// ---- help

template<typename Words>
constexpr const char *find_text(const Words &words, std::string_view before, std::string_view word) {
    const char *alone = nullptr;
    for (const cmds_word &row : words) {
        const std::string_view text = row.word;
        if (text.back() != word.back()) {
            continue;
        }
        if (same(text, word)) {
            alone = row.text;
        } else if (text.size() == before.size() + 1 + word.size() && text[before.size()] == ' ' &&
                   same(text.substr(before.size() + 1), word) &&
                   same(text.substr(0, before.size()), before)) {
            return row.text;
        }
    }
    return alone;
}

/// The text of a word that stands after another one; null when there is none.
template<typename Words>
constexpr const char *help_of(const Words &words, std::string_view before, std::string_view word) {
    const char *const own = find_text(words, before, word);
    return own != nullptr ? own : find_text(k_cmds_shared_words, before, word);
}

/// The texts of a line's words; null where there is none.
using line_help = std::array<const char *, k_words_max>;

template<size_t count, typename Words>
constexpr std::array<line_help, count> find_help(const std::array<line_words, count> &lines,
                                                 const Words &words) {
    std::array<line_help, count> all{};
    for (size_t i = 0; i < count; i++) {
        for (size_t j = 0; j < lines[i].count && j < k_words_max; j++) {
            all[i][j] = help_of(words, j > 0 ? lines[i].word[j - 1] : "", lines[i].word[j]);
        }
    }
    return all;
}

// ---- what is refused

enum class fault : uint8_t {
    none,
    word_without_help,
    unknown_type,
    not_1_to_14_words,
    no_text,
    in_no_mode,
    unknown_mask,
    not_begun_as_its_kind,
    undoes_nothing,
    undoes_by_other_keys,
    more_keys_than_arguments,
    hides_no_argument,
};

constexpr fault fault_of_words(const line_words &line, const line_help &help) {
    for (size_t i = 0; i < line.count; i++) {
        if (looks_like_type(line.word[i]) && !is_type(line.word[i])) {
            return fault::unknown_type;
        }
        if (help[i] == nullptr) {
            return fault::word_without_help;
        }
    }
    return fault::none;
}

/// Number of the first form with the keywords of form `own`, without "no", that undoes nothing itself; `own`
/// if none.
template<typename Forms, typename Lines>
constexpr size_t stem_number(const Forms &forms, const Lines &lines, size_t own) {
    for (size_t i = 0; i < lines.size(); i++) {
        if (forms[i].kind != cmds_kind::undo && same(lines[i].stem, lines[own].stem)) {
            return i;
        }
    }
    return own;
}

constexpr bool is_known_mask(uint32_t mask) {
    return mask == k_mask_user || mask == k_mask_config || mask == k_mask_config_further ||
           mask == k_mask_debug || mask == k_mask_engineering;
}

constexpr fault fault_of_form(const cmds_form &form, const line_words &line) {
    if (form.text.empty()) {
        return fault::no_text;
    }
    if (line.count == 0 || line.count > k_words_max) {
        return fault::not_1_to_14_words;
    }
    if (form.where.modes == 0) {
        return fault::in_no_mode;
    }
    if (!is_known_mask(form.where.mask)) {
        return fault::unknown_mask;
    }
    if (same(line.word[0], "no") != (form.kind == cmds_kind::undo) ||
        same(line.word[0], "show") != (form.kind == cmds_kind::show)) {
        return fault::not_begun_as_its_kind;
    }
    if (form.keys > line.arguments) {
        return fault::more_keys_than_arguments;
    }
    return form.secret > line.arguments ? fault::hides_no_argument : fault::none;
}

struct finding {
    size_t form;
    fault what;
};

template<typename Forms, size_t count>
constexpr finding first_fault(const Forms &forms, const std::array<line_words, count> &lines,
                              const std::array<line_help, count> &help) {
    for (size_t i = 0; i < lines.size(); i++) {
        fault what = fault_of_form(forms[i], lines[i]);
        what = what != fault::none ? what : fault_of_words(lines[i], help[i]);
        if (what == fault::none && forms[i].kind == cmds_kind::undo && forms[i].run == nullptr) {
            const size_t undone = stem_number(forms, lines, i);
            what = undone == i                                ? fault::undoes_nothing
                   : lines[i].arguments != forms[undone].keys ? fault::undoes_by_other_keys
                                                              : fault::none;
        }
        if (what != fault::none) {
            return {i, what};
        }
    }
    return {0, fault::none};
}

/// For the compiler's message.
template<size_t form, fault what> struct form_is_good {
    static_assert(what == fault::none, "this form of the family cannot be installed or explained");
    static constexpr bool value = true;
};

// ---- the rows

/// Characters that the texts of all forms take: keywords, pattern, and what the complete line does.
template<typename Forms> constexpr size_t pool_size(const Forms &forms) {
    size_t size = 0;
    for (const cmds_form &form : forms) {
        size += form.line.size() + 2 + k_described.size() + form.text.size() + 1;
    }
    return size;
}

/// The texts of a family that stand in no literal of it, one after the other, each with its NUL.
template<size_t size> struct pool {
    std::array<char, size> text{};
    size_t end = 0;
    constexpr void add(std::string_view piece) {
        for (const char c : piece) {
            text[end++] = c;
        }
    }
    constexpr void finish() { text[end++] = '\0'; }
};

template<size_t size, typename Forms, typename Lines>
constexpr pool<size> make_pool(const Forms &forms, const Lines &lines) {
    pool<size> made;
    for (size_t i = 0; i < lines.size(); i++) {
        made.add(lines[i].keywords);
        made.finish();
        if (lines[i].arguments > 0) {
            made.add(lines[i].pattern);
            made.finish();
        }
        made.add(k_described);
        made.add(forms[i].text);
        made.finish();
    }
    return made;
}

/// Makes the row of a form and moves `text` past its texts in the pool.
constexpr cmds_row make_row(const cmds_form &form, const line_words &line, const line_help &help,
                            const char *&text) {
    cmds_row row{};
    row.form = &form;
    row.command.mode_mask = form.where.mask;
    row.command.handler = cmds_run;
    row.command.words = text;
    text += line.keywords.size() + 1;
    if (line.arguments > 0) {
        row.command.pattern = text;
        text += line.pattern.size() + 1;
    }
    for (size_t i = 0; i < line.count; i++) {
        row.command.help[i] = help[i];
    }
    row.command.help[line.count] = text;
    text += k_described.size() + form.text.size() + 1;
    return row;
}

template<typename Forms, size_t count>
constexpr std::array<cmds_row, count>
make_rows(const Forms &forms, const std::array<line_words, count> &lines,
          const std::array<line_help, count> &help, const char *text, const cmds_family *family) {
    std::array<cmds_row, count> rows{};
    for (size_t i = 0; i < count; i++) {
        rows[i] = make_row(forms[i], lines[i], help[i], text);
        rows[i].family = family;
        rows[i].stem = static_cast<uint16_t>(stem_number(forms, lines, i));
    }
    return rows;
}

template<typename Forms> constexpr cmds_counts count_forms(const Forms &forms, uint32_t mask) {
    cmds_counts counts = {mask, 0, 0, 0};
    for (const cmds_form &form : forms) {
        if (form.where.mask == mask) {
            (form.kind == cmds_kind::undo   ? counts.undo
             : form.kind == cmds_kind::show ? counts.show
                                            : counts.others)++;
        }
    }
    return counts;
}

/// Whether there are as many forms as were counted, and no others.
template<typename Forms, typename Counts>
constexpr bool are_counted(const Forms &forms, const Counts &counted) {
    size_t sum = 0;
    for (const cmds_counts &counts : counted) {
        sum += counts.others + counts.undo + counts.show;
        if (count_forms(forms, counts.mask) != counts) {
            return false;
        }
    }
    return sum == std::size(forms);
}

} // namespace cmds_build

/// Ends the source of a family: `id` names it in the list of families, `leading` is its leading keyword, and
/// what follows are its cmds_counts, a mask each.
#define CMDS_FAMILY(id, leading, ...)                                                                        \
    extern const cmds_family cmds_family_##id;                                                               \
    namespace {                                                                                              \
    constexpr auto k_lines = cmds_build::split_all<std::size(k_forms)>(k_forms);                             \
    constexpr auto k_help = cmds_build::find_help(k_lines, k_words);                                         \
    constexpr cmds_build::finding k_finding = cmds_build::first_fault(k_forms, k_lines, k_help);             \
    static_assert(cmds_build::form_is_good<k_finding.form, k_finding.what>::value);                          \
    constexpr cmds_counts k_counted[] = {__VA_ARGS__};                                                       \
    static_assert(cmds_build::are_counted(k_forms, k_counted),                                               \
                  "the commands are not as many as was counted");                                            \
    constexpr auto k_pool = cmds_build::make_pool<cmds_build::pool_size(k_forms)>(k_forms, k_lines);         \
    constexpr auto k_rows =                                                                                  \
        cmds_build::make_rows(k_forms, k_lines, k_help, k_pool.text.data(), &cmds_family_##id);              \
    }                                                                                                        \
    const cmds_family cmds_family_##id = {leading, k_rows.data(), k_rows.size()}
