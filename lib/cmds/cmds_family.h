#pragma once

#include "lib/cli/cli_command.h"
#include "lib/cmds/cmds_form.h"

#include <cstddef>
#include <cstdint>
#include <span>

// Families of commands, each with a leading keyword of its own, and the one list of them, whose order is that
// of the running configuration.

struct cmds_family;

/// A command as the shell takes it.
struct cmds_row {
    cli_command command; // first: the shell gives it back as this
    const cmds_form *form;
    const cmds_family *family;
    uint16_t
        stem; // number in the family of its first row of the same keywords, but for "no", that undoes nothing
};

struct cmds_family {
    const char *name; // its leading keyword
    const cmds_row *rows;
    size_t count;
};

/// All families.
std::span<const cmds_family *const> cmds_families();

/// Installs all commands in their modes. Returns 0, or -1 when one was refused, which standard error names:
/// memory is out, there is another one of its words, or they are installed already.
[[nodiscard]] int32_t cmds_install();

/// The row whose handler is being called.
const cmds_row &cmds_running_row();

/// The row of the line by which a mode of the table is entered; null: of none.
const cmds_row *cmds_entering_row(const cmds_mode &mode);

/// The place of a row among all commands, by which settings are ordered; rows of the same keywords share it.
uint32_t cmds_rank(const cmds_row &row);

/// The first row of those that share a rank; null when there is none.
const cmds_row *cmds_row_at(uint32_t rank);

/// Whether a line gives a password, a key or the like away: its words fit those of a command that has one, in
/// whatever mode, or it has the keyword in front of one and is wrong elsewhere.
[[nodiscard]] bool cmds_holds_secret(const char *line);

/// The handler of every row: carries it out by its own handler or in the way of its kind. Words after a
/// command without arguments are refused, but for "no ...", whose settings say what they were.
int32_t cmds_run(int32_t argc, const char *const *argv);
