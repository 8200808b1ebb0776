#include "lib/cmds/cmds_ask.h"

#include "lib/base/invariant.h"
#include "lib/cli/cli_match.h"
#include "lib/cli/cli_output.h"
#include "lib/cli/cli_parser.h"
#include "lib/cmds/cmds_config.h"
#include "lib/cmds/cmds_session.h"

#include <strings.h>

namespace {

/// Calls `tell` with each row that asks and its number, until it returns true.
template<typename Tell> void each_asking(Tell tell) {
    uint32_t number = 0;
    for (const cmds_family *family : cmds_families()) {
        for (const cmds_row &row : std::span(family->rows, family->count)) {
            if (row.form->question != nullptr && tell(row, ++number)) {
                return;
            }
        }
    }
}

uint32_t number_of(const cmds_row &wanted) {
    uint32_t found = 0;
    each_asking([&](const cmds_row &row, uint32_t number) {
        found = number;
        return &row == &wanted;
    });
    INVARIANT(found <= k_cmds_questions_max);
    return found;
}

/// The row of a question that this session may have been asked; null when there is none.
const cmds_row *asked(uint32_t wanted) {
    const cmds_row *found = nullptr;
    each_asking([&](const cmds_row &row, uint32_t number) {
        const bool may_type = (row.command.mode_mask & cli_session_mask()) != 0 &&
                              (row.form->where.modes & cmds_mode_bit(cli_session_mode())) != 0;
        found = number == wanted && may_type && cmds_can_ask() ? &row : nullptr;
        return number == wanted;
    });
    return found;
}

bool is_yes(const char *line) {
    cli_words words;
    cli_tokenise(&words, line);
    return words.count == 1 &&
           (::strcasecmp(words.word[0], "y") == 0 || ::strcasecmp(words.word[0], "yes") == 0);
}

int32_t take_answer(const char *line) {
    const cmds_row *const row = asked(cmds_question());
    cmds_set_question(0);
    cli_session_expect(k_cli_node_command);
    if (row == nullptr) {
        return cmds_refuse("Nothing was asked");
    }
    if (!is_yes(line)) {
        cli_print("Nothing has been done.\n");
        return 0;
    }
    return row->form->run(0, nullptr);
}

} // namespace

int32_t cmds_ask(const cmds_row &row) {
    if (!cmds_can_ask()) {
        return cmds_refuse("Without a terminal this needs the word force");
    }
    cli_print("%s Are you sure? (y/n) ", row.form->question);
    cmds_set_question(number_of(row));
    cli_session_expect(k_cli_node_answer);
    return 0;
}

void cmds_take_answers() { cli_set_prompt_handler(k_cli_node_answer, take_answer); }
