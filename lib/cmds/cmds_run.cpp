// How a command is carried out in the way of its kind.

#include "lib/cli/cli_config.h"
#include "lib/cli/cli_output.h"
#include "lib/cmds/cmds_ask.h"
#include "lib/cmds/cmds_config.h"
#include "lib/cmds/cmds_family.h"
#include "lib/cmds/cmds_services.h"
#include "lib/cmds/cmds_session.h"

#include <algorithm>
#include <utility>

namespace {

constexpr int32_t k_wrong_argument = -1;

bool is_on_at_first(const cmds_form &form) {
    return form.initial != nullptr && std::string_view(form.initial) == k_cmds_on;
}

/// Whether a setting is as it is before anybody sets it.
bool is_initial(const cmds_form &form, const cmds_kept &kept) {
    return form.initial != nullptr && (is_on_at_first(form) || kept.value == form.initial);
}

/// Whether there is room for a setting in every context; one that is there is replaced.
bool has_room(const std::vector<config_context> &contexts, uint32_t rank, std::string_view key) {
    const auto made = std::count_if(contexts.begin(), contexts.end(), [=](config_context context) {
        return config_find(cmds_store(), context, rank, key) == nullptr;
    });
    return static_cast<size_t>(made) <= config_room(cmds_store());
}

/// Puts a setting into every context, or into none.
int32_t record(const std::vector<config_context> &contexts, const config_setting &setting) {
    if (!has_room(contexts, setting.rank, setting.key)) {
        return cmds_fail(k_cmds_full);
    }
    const bool done = std::all_of(contexts.begin(), contexts.end(), [&](config_context context) {
        return config_set(cmds_store(), context, setting);
    });
    return done ? 0 : cmds_fail(k_cmds_full);
}

void forget(const std::vector<config_context> &contexts, uint32_t rank, std::string_view key) {
    for (const config_context context : contexts) {
        config_unset(cmds_store(), context, rank, key);
    }
}

/// What a line is about.
struct line_place {
    cmds_kept kept;
    std::vector<config_context> contexts; // at least one
};

/// Returns 0, or the result of a handler that has told its failure.
int32_t read_line(const cmds_row &row, int32_t argc, const char *const *argv, line_place *line) {
    if (const int32_t refused = cmds_keep_line(row, argc, argv, &line->kept); refused != 0) {
        return refused;
    }
    if (row.form->kind == cmds_kind::undo) { // an undoing line has nothing but keys
        line->kept.key = std::exchange(line->kept.value, "");
    }
    line->contexts = cmds_contexts();
    return line->contexts.empty() ? k_cmds_failed : 0;
}

int32_t record_line(const cmds_row &row, const line_place &line) {
    if (is_initial(*row.form, line.kept)) {
        forget(line.contexts, cmds_rank(row), line.kept.key);
        return 0;
    }
    return record(line.contexts, {cmds_rank(row), line.kept.key, line.kept.line, line.kept.secret});
}

/// Takes settings away; of one that is on at first, the line that switches it off is what stands.
int32_t record_undone(const cmds_row &undone, const line_place &line) {
    if (is_on_at_first(*undone.form)) {
        return record(line.contexts, {cmds_rank(undone), line.kept.key, line.kept.line, 0});
    }
    forget(line.contexts, cmds_rank(undone), line.kept.key);
    return 0;
}

/// A change that is only kept is said to be, but for those of a saved configuration.
int32_t tell_kept(int32_t result, cmds_carried carried) {
    if (result == 0 && carried == cmds_carried::only_kept && !cli_is_loading()) {
        cli_print("Kept; nothing on this machine carries it out.\n");
    }
    return result;
}

int32_t change(const cmds_row &row, int32_t argc, const char *const *argv) {
    const bool on = row.form->kind == cmds_kind::setting;
    const cmds_row &set = on ? row : row.family->rows[row.stem];
    line_place line;
    if (const int32_t refused = read_line(row, argc, argv, &line); refused != 0) {
        return refused;
    }
    if (const char *const fault = row.form->prepare != nullptr ? row.form->prepare(&line.kept) : nullptr;
        fault != nullptr) {
        return cmds_refuse(fault);
    }
    // Nothing is carried out that could not be kept.
    const bool records = on ? !is_initial(*row.form, line.kept) : is_on_at_first(*set.form);
    if (records && !has_room(line.contexts, cmds_rank(set), line.kept.key)) {
        return cmds_fail(k_cmds_full);
    }
    const cmds_carried carried =
        cmds_carry_out(on, set.command.words, line.kept, cmds_rank(set), line.contexts);
    if (carried == cmds_carried::refused) {
        return k_cmds_failed;
    }
    return tell_kept(on ? record_line(row, line) : record_undone(set, line), carried);
}

int32_t show_or_act(const cmds_row &row, int32_t argc, const char *const *argv) {
    cmds_kept kept;
    if (const int32_t refused = cmds_keep_line(row, argc, argv, &kept); refused != 0) {
        return refused;
    }
    return row.form->kind == cmds_kind::show ? cmds_show(row, kept) : cmds_act(row, kept);
}

} // namespace

int32_t cmds_record(int32_t argc, const char *const *argv) {
    const cmds_row &row = cmds_running_row();
    line_place line;
    if (const int32_t refused = read_line(row, argc, argv, &line); refused != 0) {
        return refused;
    }
    return record_line(row, line);
}

int32_t cmds_run(int32_t argc, const char *const *argv) {
    const cmds_row &row = cmds_running_row();
    const cmds_form &form = *row.form;
    if (row.command.pattern == nullptr && argc > 0 && form.kind != cmds_kind::undo) {
        return k_wrong_argument;
    }
    if (cli_is_loading() && (form.kind == cmds_kind::show || form.kind == cmds_kind::action)) {
        return cmds_fail(k_cmds_not_saved);
    }
    if (form.question != nullptr) {
        return cmds_ask(row);
    }
    if (form.run != nullptr) {
        return form.run(argc, argv);
    }
    switch (form.kind) {
    case cmds_kind::setting:
    case cmds_kind::undo:
        return change(row, argc, argv);
    case cmds_kind::show:
    case cmds_kind::action:
        return show_or_act(row, argc, argv);
    case cmds_kind::move: // has a handler of its own
        break;
    }
    return k_wrong_argument;
}
