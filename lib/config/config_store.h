#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

// A configuration: settings, each in a context, in the one order in which they are shown and saved. It knows
// nothing of commands but their rank: the place of a command among all, by which settings are ordered. The
// running configuration is one of these. One user at a time: the thread of the shell's server.

struct config_store;

/// An empty configuration, freed by config_free.
[[nodiscard]] config_store *config_new();
void config_free(config_store *store);

/// Where settings stand. A context keeps its number as long as it is there; no other one ever gets it.
using config_context = int32_t;
constexpr config_context k_config_global = 0; // the whole switch: always there, entered by no line
constexpr config_context k_config_none = -1;

constexpr size_t k_config_line_max = 254;       // characters of a line
constexpr int32_t k_config_line_words_max = 20; // words of a line
constexpr size_t k_config_settings_max = 20000; // settings and contexts in all

/// One setting, or the line that enters a context. Settings of one rank and key in one context are one
/// setting.
struct config_setting {
    uint32_t rank;
    std::string_view key; // words that tell those of a rank apart, a blank between them; "" when there is one
    std::string_view line; // the command that makes it so; within the limits above
    uint32_t secret;       // bit p: word p of the line, from 0, is for administrators alone
};

/// Whether a line can stand in a configuration: its length, its number of words, no '#' and no '!' first.
[[nodiscard]] bool config_line_fits(std::string_view line);

/// How many more settings and contexts there is room for.
[[nodiscard]] size_t config_room(const config_store &store);

/// The context of this rank and key, made when there is none. Its line is shown once it `stays`, which stays
/// so, or has settings. k_config_none when there is no room.
[[nodiscard]] config_context config_enter(config_store &store, const config_setting &line, bool stays);

/// The context of a rank and key; k_config_none when there is none.
[[nodiscard]] config_context config_find_context(const config_store &store, uint32_t rank,
                                                 std::string_view key);

/// Whether there is a context of this number, and if so its rank and key, which are good until it goes.
struct config_place {
    uint32_t rank;
    std::string_view key;
};
[[nodiscard]] bool config_place_of(const config_store &store, config_context number, config_place *place);

/// The line that enters a context; "" for the global one and for none. Good until it goes.
[[nodiscard]] std::string_view config_entering_line(const config_store &store, config_context number);

/// Takes a context with its settings away. Returns false when there is none, and for the global one.
bool config_leave_out(config_store &store, config_context number);

/// The contexts of a rank whose keys begin with the words of `key` and have more.
[[nodiscard]] std::vector<config_context> config_contexts_below(const config_store &store, uint32_t rank,
                                                                std::string_view key);

/// Puts a setting into a context, in the place of the one there was. Returns false when there is no such
/// context or no room; then nothing has changed.
[[nodiscard]] bool config_set(config_store &store, config_context number, const config_setting &setting);

/// Takes a setting away. Returns whether it was there.
bool config_unset(config_store &store, config_context number, uint32_t rank, std::string_view key);

/// The line of a setting, or null. Good until the setting changes.
[[nodiscard]] const std::string *config_find(const config_store &store, config_context number, uint32_t rank,
                                             std::string_view key);

/// Takes everything away. Numbers of contexts are not used again.
void config_clear(config_store &store);

/// Calls `tell` with every line, in order: the global settings, then each context with its own. Ranks go
/// first, then keys, word by word, numbers by their value and before other words. `line` is empty when the
/// configuration goes over to the contexts, so that the lines that enter one can be told: those after an
/// empty line, and those after a "!".
struct config_line {
    std::string_view line;
    uint32_t secret;
    config_context context;
    config_place place = {}; // what the setting or the context is called by; not of an empty line and of "!"
};
void config_walk(const config_store &store, void (*tell)(const config_line &line, void *with), void *with);

/// Calls `tell` with every line that is in one of two configurations only, and with those that enter the
/// contexts of such lines. Returns how many differ.
enum class config_side : uint8_t { both, first, second };
size_t config_compare(const config_store &first, const config_store &second,
                      void (*tell)(config_side side, const config_line &line, void *with), void *with);
