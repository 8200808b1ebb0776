// Which lines hold what is for administrators alone.

#include "lib/base/take_piece.h"
#include "lib/cli/cli_match.h"
#include "lib/cmds/cmds_family.h"

#include <algorithm>

namespace {

/// Whether the words fit a form up to its secret one, which is there.
bool gives_away(const cmds_form &form, const cli_words &words) {
    std::string_view rest = form.line;
    int32_t arguments = 0;
    for (int32_t i = 0; i < words.count && !rest.empty(); i++) {
        const std::string pattern(take_piece(rest));
        const cli_pattern_word word = cli_classify(pattern.c_str());
        arguments += word.kind != cli_word_kind::keyword ? 1 : 0;
        if (arguments == form.secret) {
            return true;
        }
        if (word.kind == cli_word_kind::keyword && !cli_prefix_match(words.word[i], word)) {
            return false;
        }
    }
    return false;
}

/// Whether the last keyword in front of the form's secret stands in the line and more after it: "password" of
/// "user account bob password ...", which is no command for want of a level but holds the password.
bool announces(const cmds_form &form, const cli_words &words) {
    std::string_view rest = form.line;
    std::string_view keyword;
    for (int32_t arguments = 0; arguments < form.secret;) {
        const std::string_view pattern = take_piece(rest);
        const bool argument = cli_classify(std::string(pattern).c_str()).kind != cli_word_kind::keyword;
        keyword = argument ? keyword : pattern;
        arguments += argument ? 1 : 0;
    }
    const char *const *const last = words.word + std::max(words.count - 1, 0);
    return std::find(words.word, last, keyword) != last;
}

} // namespace

bool cmds_holds_secret(const char *line) {
    cli_words words;
    cli_tokenise(&words, line);
    const auto families = cmds_families();
    return std::any_of(families.begin(), families.end(), [&](const cmds_family *family) {
        return std::any_of(family->rows, family->rows + family->count, [&](const cmds_row &row) {
            return row.form->secret != 0 && (gives_away(*row.form, words) || announces(*row.form, words));
        });
    });
}
