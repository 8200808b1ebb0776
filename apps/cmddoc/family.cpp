// The commands of a family, by the modes they are typed in.

#include "apps/cmddoc/cmddoc.h"
#include "lib/cmds/cmds_build.h"

#include <algorithm>
#include <bit>
#include <tuple>

namespace {

/// What stands in a line of a table: a command of one or more modes, with what takes it back.
struct entry {
    const cmds_row *row;
    cmds_where where;
    bool again = false;                  // another form of the setting above
    std::vector<const cmds_row *> undos; // whose texts are told here
};

bool same_place(const cmds_where &a, const cmds_where &b) { return a.modes == b.modes && a.mask == b.mask; }

bool is_undo(const cmds_row &row) { return row.form->kind == cmds_kind::undo; }

/// Commands that are the same but for their modes, such as "exit", are told once.
std::vector<entry> collect(const cmds_family &family) {
    std::vector<entry> entries;
    for (const cmds_row &row : std::span(family.rows, family.count)) {
        const cmds_form &form = *row.form;
        const auto known = std::find_if(entries.begin(), entries.end(), [&](const entry &one) {
            return one.row->form->line == form.line && one.row->form->text == form.text &&
                   one.where.mask == form.where.mask;
        });
        if (known != entries.end()) {
            known->where.modes |= form.where.modes;
        } else {
            entries.push_back({&row, form.where, false, {}});
        }
    }
    return entries;
}

/// Whether a "no" may take a command's setting back wherever that can be typed.
bool undoes(const entry &undo, const entry &one) {
    return is_undo(*undo.row) && !is_undo(*one.row) && one.row->stem == undo.row->stem &&
           one.where.mask == undo.where.mask && (one.where.modes & ~undo.where.modes) == 0;
}

/// The commands that a "no" stands beside: the one of its very words, or the first of its keywords in each
/// place.
std::vector<entry *> undone_by(std::vector<entry> &entries, const entry &undo) {
    std::vector<entry *> found;
    for (entry &one : entries) {
        if (!undoes(undo, one)) {
            continue;
        }
        if (undo.row->form->line.substr(3) == one.row->form->line) {
            return {&one};
        }
        if (std::none_of(found.begin(), found.end(),
                         [&](const entry *other) { return same_place(other->where, one.where); })) {
            found.push_back(&one);
        }
    }
    return found;
}

/// Puts each "no" beside what it takes back.
void fold(std::vector<entry> &entries) {
    std::vector<const cmds_row *> folded;
    for (const entry &one : entries) {
        for (entry *beside : undone_by(entries, one)) {
            beside->undos.push_back(one.row);
            folded.push_back(one.row);
        }
    }
    std::erase_if(entries, [&](const entry &one) {
        return std::find(folded.begin(), folded.end(), one.row) != folded.end();
    });
}

/// Config first, then what lies within it, then exec, engineering, and every mode.
int place_of(const cmds_where &where) {
    constexpr int k_after_all = 100;
    return where.modes == k_in_every_mode              ? k_after_all
           : where.modes == cmds_mode_bit(k_mode_exec) ? k_cmds_mode_count
                                                       : std::countr_zero(where.modes & ~1U);
}

/// Groups by modes, then forms of one setting beside each other; otherwise as they are declared.
void order(std::vector<entry> &entries) {
    std::stable_sort(entries.begin(), entries.end(), [](const entry &a, const entry &b) {
        const auto key = [](const entry &one) {
            return std::tuple(place_of(one.where), one.where.modes, one.where.mask, one.row->stem);
        };
        return key(a) < key(b);
    });
    for (size_t i = 1; i < entries.size(); i++) {
        entries[i].again = entries[i].row->form->kind == cmds_kind::setting &&
                           same_place(entries[i].where, entries[i - 1].where) &&
                           entries[i].row->stem == entries[i - 1].row->stem;
    }
}

// ---- cells

std::vector<std::string_view> arguments_of(const cmds_form &form) {
    std::vector<std::string_view> arguments = cmddoc_words(form.line);
    std::erase_if(arguments, [](std::string_view word) { return !cmds_build::is_argument(word); });
    return arguments;
}

/// Names the argument that is secret, with the word in front of it.
std::string secret_mark(const cmds_form &form) {
    const auto words = cmddoc_words(form.line);
    size_t seen = 0;
    for (size_t i = 1; i < words.size() && form.secret != 0; i++) {
        seen += cmds_build::is_argument(words[i]) ? 1 : 0;
        if (seen == form.secret) {
            return " **Secret:** " + cmddoc_code(std::string(words[i - 1]) + ' ' + std::string(words[i])) +
                   '.';
        }
    }
    return "";
}

std::string what_it_does(const cmds_form &form) {
    const auto arguments = arguments_of(form);
    std::string cell = cmddoc_text(form.text);
    if (form.keys > 0) {
        cell += " One for each";
        for (size_t i = 0; i < form.keys; i++) {
            cell.append(" ").append(cmddoc_code(arguments[i]));
        }
        cell += '.';
    }
    return cell + secret_mark(form) + (form.kind == cmds_kind::action ? " *Action.*" : "");
}

bool is_on_at_first(const cmds_form &form) {
    return form.initial != nullptr && std::string_view(form.initial) == k_cmds_on;
}

std::string at_first(const cmds_form &form) {
    return form.initial == nullptr ? "" : is_on_at_first(form) ? "on" : cmddoc_code(form.initial);
}

/// The line that sets what holds at first.
std::string first_line(const entry &one) {
    const cmds_form &form = *one.row->form;
    std::string line(form.same.empty() ? one.row->command.words : form.same);
    const auto arguments = arguments_of(form);
    for (size_t i = 0; i < form.keys; i++) {
        line.append(" ").append(arguments[i]);
    }
    return line + ' ' + form.initial;
}

std::string taken_back_by(const entry &one) {
    std::string cell;
    for (const cmds_row *undo : one.undos) {
        cell.append(cell.empty() ? "" : "<br>").append(cmddoc_code(undo->form->line));
        cell.append(": ").append(cmddoc_text(undo->form->text)).append(secret_mark(*undo->form));
    }
    if (cell.empty() && one.again) {
        return "as above";
    }
    if (cell.empty() && one.row->form->initial != nullptr && !is_on_at_first(*one.row->form)) {
        return cmddoc_code(first_line(one));
    }
    return cell;
}

// ---- tables

const char *who(uint32_t mask) {
    return mask == k_mask_user ? ", for users too" : mask == k_mask_debug ? ", for debugging" : "";
}

bool tells_more(const entry &one) {
    return one.row->form->kind == cmds_kind::setting || is_undo(*one.row) || !one.undos.empty();
}

std::string group_table(std::span<const entry> group) {
    const bool wide = std::any_of(group.begin(), group.end(), tells_more);
    std::string md = "**In " + cmddoc_mode_names(group[0].where.modes) + who(group[0].where.mask) + "**\n\n";
    md += wide ? "| Command | What it does | At first | Taken back by |\n|---|---|---|---|\n"
               : "| Command | What it does |\n|---|---|\n";
    for (const entry &one : group) {
        md += "| " + cmddoc_code(one.row->form->line) + " | " + what_it_does(*one.row->form) + " |";
        if (wide) {
            md += ' ' + at_first(*one.row->form) + " | " + taken_back_by(one) + " |";
        }
        md += '\n';
    }
    return md + '\n';
}

// ---- what arguments take

/// An argument with its text in the words that it stands after.
struct argument_text {
    std::string_view word;
    std::string_view text;
    std::vector<std::string_view> after;
};

bool is_shared(std::string_view word, std::string_view text) {
    return std::any_of(std::begin(k_cmds_shared_words), std::end(k_cmds_shared_words),
                       [&](const cmds_word &shared) {
                           return shared.word == word && std::string_view(shared.text) == text;
                       });
}

std::vector<argument_text> argument_texts(const cmds_family &family) {
    std::vector<argument_text> all;
    for (const cmds_row &row : std::span(family.rows, family.count)) {
        const auto words = cmddoc_words(row.form->line);
        for (size_t i = 1; i < words.size(); i++) {
            const std::string_view text = row.command.help[i];
            if (!cmds_build::is_argument(words[i]) || is_shared(words[i], text)) {
                continue;
            }
            auto known = std::find_if(all.begin(), all.end(), [&](const argument_text &one) {
                return one.word == words[i] && one.text == text;
            });
            known = known != all.end() ? known : all.insert(all.end(), {words[i], text, {}});
            if (std::find(known->after.begin(), known->after.end(), words[i - 1]) == known->after.end()) {
                known->after.push_back(words[i - 1]);
            }
        }
    }
    return all;
}

std::string argument_table(const cmds_family &family) {
    const std::vector<argument_text> all = argument_texts(family);
    std::string md = all.empty() ? "" : "| Argument | What it takes |\n|---|---|\n";
    for (const argument_text &one : all) {
        const bool alone = std::count_if(all.begin(), all.end(), [&](const argument_text &other) {
                               return other.word == one.word;
                           }) == 1;
        std::string names = alone ? cmddoc_code(one.word) : "";
        for (size_t i = 0; i < one.after.size() && !alone; i++) {
            names.append(i == 0 ? "" : ", ");
            names.append(cmddoc_code(std::string(one.after[i]) + ' ' + std::string(one.word)));
        }
        md += "| " + names + " | " + cmddoc_text(one.text) + " |\n";
    }
    return md + (all.empty() ? "" : "\n");
}

/// The help text of the family's leading keyword.
std::string_view about(const cmds_family &family) {
    for (const cmds_row &row : std::span(family.rows, family.count)) {
        const auto words = cmddoc_words(row.form->line);
        for (size_t i = 0; i < words.size(); i++) {
            if (words[i] == family.name) {
                return row.command.help[i];
            }
        }
    }
    return "";
}

} // namespace

std::string cmddoc_family(const cmds_family &family) {
    std::vector<entry> entries = collect(family);
    fold(entries);
    order(entries);
    std::string md = "## " + cmddoc_title(family) + "\n\n" + cmddoc_text(about(family)) + "\n\n";
    for (size_t begin = 0, end = 0; begin < entries.size(); begin = end) {
        while (end < entries.size() && same_place(entries[begin].where, entries[end].where)) {
            end++;
        }
        md += group_table(std::span(entries).subspan(begin, end - begin));
    }
    return md + argument_table(family);
}
