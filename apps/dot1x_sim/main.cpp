// Plays scripted supplicants and servers against the 802.1X backend state machine and prints what it does.

#include "apps/dot1x_sim/diagram.h"
#include "apps/dot1x_sim/script.h"
#include "lib/base/standard_streams.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <vector>

namespace {

constexpr char k_usage[] =
    "usage: dot1x_sim [--debug] [SCRIPT...]       plays the named scripts, or all\n"
    "       dot1x_sim [--debug] --play SUPPLICANT SERVER\n"
    "           SUPPLICANT, for each EAP request: r responds, x logs off, - stays silent\n"
    "           SERVER, for each response: q asks further, a accepts, f rejects, - stays silent\n"
    "       dot1x_sim --list                      names the scripts\n"
    "       dot1x_sim --write FILE                renders the diagram in FILE (docs/dot1x.md) anew\n"
    "       dot1x_sim --check FILE                tells whether it is stale\n";
constexpr int k_usage_error = 2;

/// What is to be done: playing scripts is the mode without an option of its own.
struct mode {
    const char *option;
    size_t words; // that stand right after it, whatever they begin with
};
constexpr mode k_modes[] = {{"--help", 0}, {"--list", 0}, {"--play", 2}, {"--write", 1}, {"--check", 1}};

struct command_line {
    const mode *chosen = nullptr; // null: scripts are played
    bool debug = false;
    std::vector<const char *> words; // the mode's, or names of scripts
};

bool is(const char *argument, const char *option) { return std::strcmp(argument, option) == 0; }

int wrong(const char *what, const char *argument) {
    std::fprintf(stderr, "dot1x_sim: %s: %s; --help tells how it is called\n", argument, what);
    return k_usage_error;
}

/// Returns 0, or a status after saying what is wrong.
int parse(int argc, char **argv, command_line &line) {
    for (int at = 1; at < argc; at++) {
        const auto *const found = std::find_if(std::begin(k_modes), std::end(k_modes),
                                               [&](const mode &m) { return is(argv[at], m.option); });
        if (is(argv[at], "--debug")) {
            line.debug = true;
        } else if (found == std::end(k_modes)) {
            if (argv[at][0] == '-') {
                return wrong("no such option", argv[at]);
            }
            line.words.push_back(argv[at]);
        } else if (line.chosen != nullptr || !line.words.empty()) {
            return wrong("does not go with what stands in front of it", argv[at]);
        } else {
            line.chosen = found;
            for (size_t word = 0; word < found->words; word++) {
                if (++at == argc) {
                    return wrong(found->words == 1 ? "wants a file" : "wants SUPPLICANT and SERVER",
                                 found->option);
                }
                line.words.push_back(argv[at]);
            }
        }
    }
    if (line.chosen != nullptr && line.words.size() > line.chosen->words) {
        return wrong("too much", line.words[line.chosen->words]);
    }
    return 0;
}

int play_own(const command_line &line) {
    const script own = {"play", "a script of your own", line.words[0], line.words[1], 1};
    if (const char letter[] = {script_bad_letter(own), '\0'}; letter[0] != '\0') {
        return wrong("no such letter", letter);
    }
    play_script(own, line.debug);
    return 0;
}

int play_named(const command_line &line) {
    std::vector<const script *> played;
    for (const char *name : line.words) {
        const std::span<const script> all = built_in_scripts();
        const auto known =
            std::find_if(all.begin(), all.end(), [&](const script &s) { return is(s.name, name); });
        if (known == all.end()) {
            std::fprintf(stderr, "dot1x_sim: no script is named \"%s\"; --list names them\n", name);
            return k_usage_error;
        }
        played.push_back(&*known);
    }
    for (const script *named : played) {
        play_script(*named, line.debug);
    }
    return 0;
}

int play_all(bool debug) {
    for (const script &known : built_in_scripts()) {
        play_script(known, debug);
    }
    return 0;
}

int list_scripts() {
    for (const script &known : built_in_scripts()) {
        std::printf("%-18s %s\n", known.name, known.about);
    }
    return 0;
}

int run(const command_line &line) {
    if (line.chosen == nullptr) {
        return line.words.empty() ? play_all(line.debug) : play_named(line);
    }
    const char *const option = line.chosen->option;
    if (is(option, "--help")) {
        std::fputs(k_usage, stdout);
        return 0;
    }
    if (is(option, "--list")) {
        return list_scripts();
    }
    if (is(option, "--play")) {
        return play_own(line);
    }
    return (is(option, "--write") ? diagram_write(line.words[0]) : diagram_check(line.words[0])) ? 0 : 1;
}

} // namespace

int main(int argc, char **argv) {
    hold_standard_streams();
    command_line line;
    const int status = parse(argc, argv, line);
    return status != 0 ? status : end_output("dot1x_sim", run(line), 1);
}
