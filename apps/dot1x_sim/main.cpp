#include "apps/dot1x_sim/diagram.h"
#include "apps/dot1x_sim/script.h"

#include <cstdio>
#include <cstring>

// Plays scripted supplicants and servers against the 802.1X backend state machine and prints what it does.

namespace {

int usage(FILE *out, int status) {
    std::fputs(
        "usage: dot1x_sim [--debug] [SCRIPT...]       plays the named scripts, or all\n"
        "       dot1x_sim [--debug] --play SUPPLICANT SERVER\n"
        "           SUPPLICANT, for each EAP request: r responds, x logs off, - stays silent\n"
        "           SERVER, for each response: q asks further, a accepts, f rejects, - stays silent\n"
        "       dot1x_sim --list                      names the scripts\n"
        "       dot1x_sim --write FILE                renders the diagram in FILE (docs/dot1x.md) anew\n"
        "       dot1x_sim --check FILE                tells whether it is stale\n",
        out);
    return status;
}

int play_own(const char *supplicant, const char *server, bool debug) {
    const script own = {"play", "a script of your own", supplicant, server, 1};
    if (!script_is_valid(own)) {
        return usage(stderr, 2);
    }
    play_script(own, debug);
    return 0;
}

int play_named(const char *name, bool debug) {
    for (const script &known : built_in_scripts()) {
        if (std::strcmp(known.name, name) == 0) {
            play_script(known, debug);
            return 0;
        }
    }
    std::fprintf(stderr, "dot1x_sim: no script is named \"%s\"; --list names them\n", name);
    return 2;
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

bool is(const char *argument, const char *option) { return std::strcmp(argument, option) == 0; }

} // namespace

int main(int argc, char **argv) {
    int at = 1;
    const bool debug = at < argc && is(argv[at], "--debug");
    at += debug ? 1 : 0;
    const int left = argc - at;
    if (left == 0) {
        return play_all(debug);
    }
    if (is(argv[at], "--help")) {
        return usage(stdout, 0);
    }
    if (is(argv[at], "--list")) {
        return list_scripts();
    }
    if (is(argv[at], "--write") && left == 2) {
        return diagram_write(argv[at + 1]) ? 0 : 1;
    }
    if (is(argv[at], "--check") && left == 2) {
        return diagram_check(argv[at + 1]) ? 0 : 1;
    }
    if (is(argv[at], "--play") && left == 3) {
        return play_own(argv[at + 1], argv[at + 2], debug);
    }
    if (argv[at][0] == '-') {
        return usage(stderr, 2);
    }
    int status = 0;
    for (; at < argc && status == 0; at++) {
        status = play_named(argv[at], debug);
    }
    return status;
}
