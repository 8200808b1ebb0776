#pragma once

#include "lib/cli/cli_command.h"
#include "lib/cmds/cmds_modes.h"

#include <cstdint>
#include <string_view>

// How a command is declared: one form, from which everything else comes (cmds_family.h).

/// What a command does, which decides how it is carried out, shown and replayed.
enum class cmds_kind : uint8_t {
    setting, // stands in the running configuration, and is handed to what carries it out
    undo,    // "no ...": takes the settings of the same words away
    show,    // prints a state
    action,  // does something once
    move,    // leads into another mode, or out of one
};

/// Where a command can be typed: in which modes, a set by cmds_mode_bit(), and by whom, one of the masks.
struct cmds_where {
    uint32_t modes;
    uint32_t mask;
};

constexpr uint32_t k_in_every_mode = (1U << k_cmds_mode_count) - 1;

/// A command of the configuration in one mode.
constexpr cmds_where cmds_in(int32_t mode_id) { return {cmds_mode_bit(mode_id), k_mask_config}; }

constexpr cmds_where k_config = cmds_in(k_cli_mode_config);
constexpr cmds_where k_ports = {cmds_mode_bit(k_mode_interface_range) | cmds_mode_bit(k_mode_interface),
                                k_mask_config}; // a port or several
constexpr cmds_where k_vlans = {cmds_mode_bit(k_mode_vlan) | cmds_mode_bit(k_mode_vlan_range),
                                k_mask_config};                       // a VLAN or several
constexpr cmds_where k_shown = {k_in_every_mode, k_mask_config};      // what administrators look at
constexpr cmds_where k_shown_to_all = {k_in_every_mode, k_mask_user}; // and what users do, too
constexpr cmds_where k_bench = {cmds_mode_bit(k_mode_engineering), k_mask_engineering};
constexpr cmds_where k_actions = {cmds_mode_bit(k_mode_exec), k_mask_config};

constexpr const char *k_cmds_on = "on"; // the initial value of a setting that "no" switches off

struct cmds_kept;

/// Looks at the line of a setting before it is carried out, and may put another one in its place. Returns
/// null, or why it cannot be taken, for the user.
using cmds_prepare_fn = const char *(*)(cmds_kept *kept);

/// A command as it is declared. Made by the functions below it, refined by its members.
struct cmds_form {
    cmds_kind kind;
    cmds_where where;
    std::string_view line;         // all its words: keywords, then arguments and keywords among them
    std::string_view text;         // what it does, for a person
    const char *initial = nullptr; // a setting's value before anybody sets it: its arguments without the keys
    cli_handler_fn run = nullptr;  // null: the common way of its kind
    cmds_prepare_fn prepare = nullptr; // a setting's; null: the line is taken as it is
    uint8_t keys = 0;                  // so many of its arguments tell settings of the same words apart
    uint8_t secret = 0;                // its argument of this number, from 1, is for administrators alone
    std::string_view same = {}; // the keywords that it shares with other forms of one setting; "": its own
    const char *question = nullptr; // what a person is asked first; null: nothing
    uint8_t longest = 0; // characters of its free text and hexadecimal digits; 0: as many as the type takes

    /// The value that holds before anybody sets one: setting it leaves nothing in the configuration.
    [[nodiscard]] constexpr cmds_form at_first(const char *value) const {
        cmds_form form = *this;
        form.initial = value;
        return form;
    }
    /// On before anybody says otherwise: "no ..." stands in the configuration instead.
    [[nodiscard]] constexpr cmds_form on_at_first() const { return at_first(k_cmds_on); }
    /// The first `count` arguments are what the setting is about, the others its value.
    [[nodiscard]] constexpr cmds_form keyed(uint8_t count) const {
        cmds_form form = *this;
        form.keys = count;
        return form;
    }
    /// Argument `number`, from 1, is a password, a key or the like.
    [[nodiscard]] constexpr cmds_form hides(uint8_t number) const {
        cmds_form form = *this;
        form.secret = number;
        return form;
    }
    /// One of several forms of a setting: its keywords begin with those that all of them share.
    [[nodiscard]] constexpr cmds_form one_of(std::string_view keywords) const {
        cmds_form form = *this;
        form.same = keywords;
        return form;
    }
    /// Free text has at most `count` characters, a hexadecimal number as many digits.
    [[nodiscard]] constexpr cmds_form up_to(uint8_t count) const {
        cmds_form form = *this;
        form.longest = count;
        return form;
    }
    /// Has no arguments, and a handler that is called once a person has agreed (cmds_ask.h).
    [[nodiscard]] constexpr cmds_form asks(const char *asked) const {
        cmds_form form = *this;
        form.question = asked;
        return form;
    }
    /// Looked at by a function of its own, and then carried out in the common way.
    [[nodiscard]] constexpr cmds_form prepared(cmds_prepare_fn function) const {
        cmds_form form = *this;
        form.prepare = function;
        return form;
    }
    /// Carried out by a handler of its own.
    [[nodiscard]] constexpr cmds_form by(cli_handler_fn handler) const {
        cmds_form form = *this;
        form.run = handler;
        return form;
    }
};

constexpr cmds_form setting(cmds_where where, std::string_view line, std::string_view text) {
    return {cmds_kind::setting, where, line, text};
}
constexpr cmds_form undo(cmds_where where, std::string_view line, std::string_view text) {
    return {cmds_kind::undo, where, line, text};
}
constexpr cmds_form show(cmds_where where, std::string_view line, std::string_view text) {
    return {cmds_kind::show, where, line, text};
}
constexpr cmds_form action(cmds_where where, std::string_view line, std::string_view text) {
    return {cmds_kind::action, where, line, text};
}
constexpr cmds_form move(cmds_where where, std::string_view line, std::string_view text) {
    return {cmds_kind::move, where, line, text};
}
