#pragma once

#include <span>

/// A supplicant and a server played over one port. Each is a line of letters, one for every message that it
/// gets; after the last letter it stays silent.
struct script {
    const char *name;
    const char *about;
    const char *supplicant; // for each EAP request: 'r' responds, 'x' logs off, '-' stays silent
    const char *server;     // for each response: 'q' asks further, 'a' accepts, 'f' rejects, '-' stays silent
    int rounds;             // authentications, one after the other
};

/// The scripts that come with the program.
std::span<const script> built_in_scripts();

/// The first letter of the two lines, the supplicant's first, that is none of the above; NUL when all are.
char script_bad_letter(const script &played);

/// Plays a script on port 1 in simulated time and prints each event and action, then the states that the port
/// went through in one line. `debug` turns the library's own debug lines on.
void play_script(const script &played, bool debug);
