#include "lib/cmds/cmds_reset.h"

#include "lib/base/result.h"
#include "lib/base/take_piece.h"
#include "lib/cli/cli_config.h"
#include "lib/cmds/cmds_family.h"
#include "lib/cmds/cmds_services.h"

#include <algorithm>

namespace {

struct kept_setting {
    config_context context;
    uint32_t rank;
    std::string key;
    bool off; // its line switches off what is on at first
};

void add_setting(const config_line &line, void *settings) {
    const bool marks = line.line.empty() || line.line == "!";
    const cmds_row *const row = marks ? nullptr : cmds_row_at(line.place.rank);
    if (row != nullptr && row->form->kind != cmds_kind::move) {
        static_cast<std::vector<kept_setting> *>(settings)->push_back(
            {line.context, line.place.rank, std::string(line.place.key), line.line.starts_with("no ")});
    }
}

struct context_settings {
    config_context context;
    std::vector<kept_setting> settings;
};

void add_setting_of_context(const config_line &line, void *found) {
    auto *const wanted = static_cast<context_settings *>(found);
    if (line.context == wanted->context) {
        add_setting(line, &wanted->settings);
    }
}

void add_context(const config_line &line, void *contexts) {
    auto *const list = static_cast<std::vector<config_context> *>(contexts);
    if (line.context != k_config_global && (list->empty() || list->back() != line.context)) {
        list->push_back(line.context);
    }
}

/// What a handler of its own does beside recording it takes back with the initial value.
void make_initial(const cmds_row &row) {
    if (row.form->run != nullptr && row.form->initial != nullptr) {
        ignore_result(cli_run_config(std::string(row.command.words) + ' ' + row.form->initial,
                                     [](int32_t) {})); // it tells itself why it fails
    }
}

/// Returns whether it has been taken back.
bool take_back(const kept_setting &setting) {
    const cmds_row &row = *cmds_row_at(setting.rank);
    cmds_kept kept = {};
    kept.key = setting.key;
    for (std::string_view rest = setting.key; !rest.empty();) {
        kept.arguments.emplace_back(take_piece(rest));
    }
    if (cmds_carry_out(setting.off, row.command.words, kept, setting.rank, {setting.context}) ==
        cmds_carried::refused) {
        return false;
    }
    make_initial(row);
    config_unset(cmds_store(), setting.context, setting.rank, setting.key);
    return true;
}

} // namespace

size_t cmds_take_all_back() {
    std::vector<kept_setting> settings;
    std::vector<config_context> contexts;
    config_walk(cmds_store(), add_setting, &settings);
    config_walk(cmds_store(), add_context, &contexts);
    std::vector<config_context> stay; // with what could not be taken back
    for (auto setting = settings.rbegin(); setting != settings.rend(); ++setting) {
        if (!take_back(*setting)) {
            stay.push_back(setting->context);
        }
    }
    if (stay.empty()) {
        config_clear(cmds_store()); // and contexts that are entered and hold nothing
    }
    for (const config_context context : contexts) {
        if (std::find(stay.begin(), stay.end(), context) == stay.end()) {
            config_leave_out(cmds_store(), context);
        }
    }
    return stay.size();
}

bool cmds_take_away(config_context context) {
    context_settings found = {context, {}};
    config_walk(cmds_store(), add_setting_of_context, &found);
    bool all = true;
    for (auto setting = found.settings.rbegin(); setting != found.settings.rend(); ++setting) {
        all = take_back(*setting) && all;
    }
    if (all) {
        config_leave_out(cmds_store(), context);
    }
    return all;
}
