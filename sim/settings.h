#pragma once

#include "sim/state.h"

#include <span>
#include <string>
#include <string_view>
#include <vector>

// Everything of the simulated switch that has a name. `switchsim set`, `fault` and `show`, scenario files and
// the documents read the same rows.

/// How a setting is kept and written.
enum class sim_kind : uint8_t {
    number,  // 32 bits
    octet,   // 8 bits
    integer, // 32 bits, signed
    bits,    // those bits of a 32-bit word that `limit` masks
    text,    // printable characters, at most `limit`
    words,   // `limit` 16-bit words, or "text:" and two characters a word
    ipv4,    // an IPv4 address, as a number with the first octet highest
    ipv6,    // 16 bytes
    address, // six bytes in hexadecimal, colons between
    link,    // of a port: its counters run or stand with it
    counter, // value of a running counter
    rate,    // of a running counter
    fault,   // of a request: ok, or some of fail, code=N and late=MS with commas between
};

/// What a number in a setting's name counts.
enum class sim_index : uint8_t {
    none,
    port,
    state_word,
    counter,
    ring_id,
    redundant_ring,
    instance,
    request,
};

/// A value that has a word of its own.
struct sim_value_name {
    const char *name;
    uint32_t value;
};

struct sim_setting {
    const char *name; // components between dots; "#" stands for an index
    sim_kind kind;
    sim_index index[2];
    bool read_only;
    uint32_t offset;    // in sim_state, of the first element
    uint32_t stride[2]; // bytes from one element to the next
    uint32_t limit;     // largest number, or what the kind says
    std::span<const sim_value_name> names;
    const char *meaning;
};

/// All settings, those of one element (port, ring ...) side by side.
std::span<const sim_setting> sim_settings();

/// How many elements an index has (1 for none), and what the element in place `place` goes by in a name.
uint32_t sim_index_count(sim_index index);
std::string sim_index_label(sim_index index, uint32_t place);

/// What an index takes, for a person: "1..12".
std::string sim_index_range(sim_index index);

/// One setting of one element.
struct sim_target {
    const sim_setting *setting;
    uint32_t place[2];
};

/// A value as parsed; which member holds it depends on the kind.
struct sim_value {
    uint64_t number;
    sim_request_fault fault;
    uint16_t words[16];
    char text[k_sim_serial_size];
};

struct sim_change {
    sim_target target;
    sim_value value;
};

/// Reads a name, whose indices may be "*" for all, and a value. Adds what they ask for to `changes` and
/// returns true; or returns false and says in `error` what would have been right. Read-only settings are
/// refused.
[[nodiscard]] bool sim_change_parse(std::string_view name, std::string_view value,
                                    std::vector<sim_change> &changes, std::string &error);

void sim_change_apply(sim_state &state, const sim_change &change);

/// The name of a target, and its value now in the form that sim_change_parse takes.
std::string sim_target_name(const sim_target &target);
std::string sim_target_value(const sim_state &state, const sim_target &target);

/// Whether the target's value is nought: 0, off, empty, no fault.
bool sim_target_is_zero(const sim_state &state, const sim_target &target);

/// What a setting's values look like, for a person: "up, down".
std::string sim_setting_values(const sim_setting &setting);
