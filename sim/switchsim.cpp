// The control program of the simulated switch.

#include "lib/base/parse_number.h"
#include "sim/device.h"
#include "sim/flash.h"
#include "sim/paths.h"
#include "sim/run.h"
#include "sim/show.h"
#include "sim/state_file.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <getopt.h>
#include <sstream>

namespace {

constexpr int k_usage_error = 2;
constexpr const char *k_fault_prefix = "fault.";
constexpr size_t k_flash_max = 64U << 20U;

constexpr char k_help[] =
    R"(usage: switchsim run [--port N] [--scenario FILE] [--state FILE] [--library FILE] [--] PROGRAM [ARGUMENT...]
       switchsim join [--port N] [--state FILE] [--library FILE] [--] PROGRAM [ARGUMENT...]
       switchsim set [--state FILE] NAME VALUE | NAME=VALUE ...
       switchsim fault [--state FILE] NAME VALUE | NAME=VALUE ... | clear
       switchsim show [--state FILE] [--all] [--value] [PREFIX]
       switchsim flash [--scenario FILE] mtd1|mtd4 [SIZE]

Stands in for the board of a switch: run starts a program on a simulated switch, join another one on the same switch;
set, fault and show change and show the switch while it runs; flash writes the images of a board's flash. `switchsim COMMAND --help` tells more.
)";

constexpr char k_run_help[] =
    R"(usage: switchsim run [--port N] [--scenario FILE] [--state FILE] [--library FILE] [--] PROGRAM [ARGUMENT...]

Makes a simulated switch, runs PROGRAM on it and removes the switch when PROGRAM ends, together with whatever
processes PROGRAM has left running. SIGINT, SIGTERM and SIGHUP are handed to PROGRAM.

  --port N         listen on N where PROGRAM asks for port 502; 0: a free one, told by `switchsim show modbus.port`
  --scenario FILE  set what FILE says, and play its steps; without one the switch is healthy
  --state FILE     where the switch is kept; default $SWITCHSIM_STATE, or else /tmp/switchsim-UID/state
  --library FILE   the library to preload into PROGRAM, when it is not the one installed beside switchsim

A scenario has one "NAME VALUE" a line, as `switchsim set` takes them. "after SECONDS", "every SECONDS" or "after
SECONDS every SECONDS" on a line begins a step: what follows is set at that time from the start. # begins a comment.

Exit status: that of PROGRAM, or 128 plus the signal that ended it; 2 when the options are wrong, 125 when the switch
could not be made, 126 when PROGRAM could not be started, 127 when there is no such program.
)";

constexpr char k_join_help[] =
    R"(usage: switchsim join [--port N] [--state FILE] [--library FILE] [--] PROGRAM [ARGUMENT...]

Becomes PROGRAM, on the switch that `switchsim run` holds. Options and exit status as of run.
)";

constexpr char k_set_help[] = R"(usage: switchsim set [--state FILE] NAME VALUE | NAME=VALUE ...

Changes the running switch, at once for every process on it. When one of several settings is wrong nothing is
changed. In a name # stands for a number, or * for all:

)";

constexpr char k_fault_help[] = R"(usage: switchsim fault [--state FILE] NAME VALUE | NAME=VALUE ... | clear

Makes the running switch fail, until the fault is set to ok or all are cleared. A request to the device is named by its
number and sub-code, as 24253/12, by its number alone for all sub-codes, or * for all. It can fail (the control call
gives -1), answer with code=N (that return code and no results) and be late=MILLISECONDS; with commas between.

)";

constexpr char k_show_help[] = R"(usage: switchsim show [--state FILE] [--all] [--value] [PREFIX]

Prints the running switch as lines that `switchsim set` and scenarios take back; lines that begin with # only tell.
With PREFIX only what begins with it: port.3, fault, requests.

  --all    print rings and MST instances that are all zero as well
  --value  print values without their names
)";

constexpr char k_flash_help[] = R"(usage: switchsim flash [--scenario FILE] mtd1|mtd4 [SIZE]

Writes to standard output what the flash partition of a switch holds: mtd1 the boot loader's tailer, mtd4 the firmware's
header, of which the daemon reads who the switch is.

  --scenario FILE  of the switch that FILE says; without one it is the healthy one
  SIZE             bytes, the rest of which are erased; default 4096, at most 67108864
)";

constexpr option k_options[] = {
    {"help", no_argument, nullptr, 'h'},          {"state", required_argument, nullptr, 's'},
    {"port", required_argument, nullptr, 'p'},    {"scenario", required_argument, nullptr, 'c'},
    {"library", required_argument, nullptr, 'l'}, {"all", no_argument, nullptr, 'a'},
    {"value", no_argument, nullptr, 'v'},         {nullptr, 0, nullptr, 0},
};

/// What the options of all commands say.
struct arguments {
    const char *state = nullptr;
    const char *port = nullptr;
    const char *scenario = nullptr;
    const char *library = nullptr;
    bool all = false;
    bool value = false;
    char **rest = nullptr; // what is no option, null at the end
};

struct command {
    const char *name;
    const char *help;
    void (*print_more_help)(); // null: nothing more
    const char *options;       // which of k_options it takes
    int (*run)(const arguments &);
};

void complain(const std::string &what) { std::fprintf(stderr, "switchsim: %s\n", what.c_str()); }

// ---- run

bool read_scenario(const char *path, std::vector<sim_step> &steps) {
    std::ifstream file(path);
    std::ostringstream text;
    text << file.rdbuf();
    if (!file) {
        complain(std::string(path) + ": " + std::strerror(errno));
        return false;
    }
    std::string error;
    if (!sim_scenario_parse(text.str(), path, steps, error)) {
        complain(error);
        return false;
    }
    return true;
}

/// Reads what run and join are both given. Returns 0, or the status to end with after saying what is wrong.
int read_run_options(const arguments &given, sim_run_options &options) {
    options.state_path = sim_paths_state(given.state);
    options.program = given.rest;
    if (*given.rest == nullptr) {
        complain("no program; see --help");
        return k_usage_error;
    }
    if (given.port != nullptr && !parse_number(given.port, &options.port)) {
        complain(std::string("--port ") + given.port + ": not a port number 0..65535");
        return k_usage_error;
    }
    std::string error;
    if (!sim_paths_library(given.library, options.library, error)) {
        complain(error);
        return k_sim_run_failed;
    }
    return 0;
}

int command_join(const arguments &given) {
    sim_run_options options;
    const int wrong = read_run_options(given, options);
    return wrong != 0 ? wrong : sim_join(options);
}

int command_run(const arguments &given) {
    sim_run_options options;
    if (const int wrong = read_run_options(given, options); wrong != 0) {
        return wrong;
    }
    if (given.scenario != nullptr && !read_scenario(given.scenario, options.steps)) {
        return k_sim_run_failed;
    }
    return sim_run(options);
}

// ---- set, fault

/// Opens the running switch; false after saying what is wrong.
bool open_switch(const arguments &given, sim_file &file) {
    const std::string path = sim_paths_state(given.state);
    const sim_file_result result = sim_file_open(path.c_str(), file);
    if (result == sim_file_result::ok) {
        return true;
    }
    complain("no simulated switch: " + path + ": " + sim_file_text(result));
    return false;
}

/// Reads NAME=VALUE and NAME VALUE; names get `prefix`. False after saying what is wrong.
bool parse_changes(char *const *words, const std::string &prefix, std::vector<sim_change> &changes) {
    for (; *words != nullptr; words++) {
        std::string_view name = *words;
        std::string_view value;
        if (const size_t equals = name.find('='); equals != std::string_view::npos) {
            value = name.substr(equals + 1);
            name = name.substr(0, equals);
        } else if (words[1] != nullptr) {
            value = *++words;
        } else {
            complain(std::string(*words) + ": no value");
            return false;
        }
        std::string error;
        if (!sim_change_parse(prefix + std::string(name), value, changes, error)) {
            complain(error);
            return false;
        }
    }
    return true;
}

/// Sets every fault to ok.
bool clear_faults(std::vector<sim_change> &changes) {
    std::string error;
    for (const sim_setting &setting : sim_settings()) {
        std::string name = setting.name;
        if (name == "fault.#") {
            name = "fault.*";
        }
        if (name.starts_with("fault.") && !sim_change_parse(name, "ok", changes, error)) {
            complain(error);
            return false;
        }
    }
    return true;
}

int change_switch(const arguments &given, const std::string &prefix) {
    std::vector<sim_change> changes;
    const bool clear = !prefix.empty() && *given.rest != nullptr && std::strcmp(*given.rest, "clear") == 0;
    if (clear ? !clear_faults(changes) : !parse_changes(given.rest, prefix, changes)) {
        return k_usage_error;
    }
    if (changes.empty()) {
        complain("nothing to set; see --help");
        return k_usage_error;
    }
    sim_file file;
    if (!open_switch(given, file)) {
        return EXIT_FAILURE;
    }
    for (const sim_change &change : changes) {
        sim_change_apply(*file.state, change);
    }
    sim_file_close(file);
    return EXIT_SUCCESS;
}

int command_set(const arguments &given) { return change_switch(given, ""); }

int command_fault(const arguments &given) { return change_switch(given, k_fault_prefix); }

// ---- show

int command_show(const arguments &given) {
    if (given.rest[0] != nullptr && given.rest[1] != nullptr) {
        complain("more than one prefix; see --help");
        return k_usage_error;
    }
    sim_file file;
    if (!open_switch(given, file)) {
        return EXIT_FAILURE;
    }
    const char *prefix = *given.rest != nullptr ? *given.rest : "";
    const size_t printed = sim_show(*file.state, prefix, given.all, given.value);
    sim_file_close(file);
    if (printed == 0) {
        complain(std::string("nothing begins with '") + prefix + "'");
        return EXIT_FAILURE;
    }
    if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0) {
        complain(std::string("standard output: ") + std::strerror(errno));
        return EXIT_FAILURE;
    }
    return EXIT_SUCCESS;
}

// ---- flash

int command_flash(const arguments &given) {
    const char *const partition = given.rest[0];
    size_t size = k_sim_flash_size;
    if (partition == nullptr ||
        (given.rest[1] != nullptr && !parse_number(given.rest[1], 0, k_flash_max, &size))) {
        complain("a partition and its size are wanted; see --help");
        return k_usage_error;
    }
    std::vector<sim_step> steps;
    if (given.scenario != nullptr && !read_scenario(given.scenario, steps)) {
        return EXIT_FAILURE;
    }
    static sim_state s_state;
    sim_state_reset(s_state);
    sim_scenario_begin(s_state, steps);
    if (!sim_flash_write(s_state, partition, size, stdout)) {
        complain(std::string("flash ") + partition + ": " + std::strerror(errno));
        return EXIT_FAILURE;
    }
    return EXIT_SUCCESS;
}

// ---- command line

void print_set_help() { sim_show_settings(""); }

void print_fault_help() { sim_show_settings(k_fault_prefix); }

constexpr command k_commands[] = {
    {"run", k_run_help, nullptr, "spcl", command_run},
    {"join", k_join_help, nullptr, "spl", command_join},
    {"set", k_set_help, print_set_help, "s", command_set},
    {"fault", k_fault_help, print_fault_help, "s", command_fault},
    {"show", k_show_help, nullptr, "sav", command_show},
    {"flash", k_flash_help, nullptr, "c", command_flash},
};

const command *find_command(const char *name) {
    for (const command &candidate : k_commands) {
        if (std::strcmp(candidate.name, name) == 0) {
            return &candidate;
        }
    }
    return nullptr;
}

void take_option(int letter, arguments &given) {
    switch (letter) {
    case 's':
        given.state = optarg;
        break;
    case 'p':
        given.port = optarg;
        break;
    case 'c':
        given.scenario = optarg;
        break;
    case 'l':
        given.library = optarg;
        break;
    case 'a':
        given.all = true;
        break;
    default:
        given.value = true;
        break;
    }
}

int print_help(const command &chosen) {
    std::fputs(chosen.help, stdout);
    if (chosen.print_more_help != nullptr) {
        chosen.print_more_help();
    }
    return EXIT_SUCCESS;
}

int run_command(const command &chosen, int argc, char **argv) {
    arguments given;
    int letter = 0;
    // "+": the first word that is no option ends them, as it may be a program with options of its own.
    while ((letter = ::getopt_long(argc, argv, "+h", k_options, nullptr)) != -1) {
        if (letter == 'h') {
            return print_help(chosen);
        }
        if (letter == '?' || std::strchr(chosen.options, letter) == nullptr) {
            complain(std::string("bad option; see `switchsim ") + chosen.name + " --help`");
            return k_usage_error;
        }
        take_option(letter, given);
    }
    given.rest = argv + optind;
    return chosen.run(given);
}

} // namespace

int main(int argc, char **argv) {
    const char *name = argc > 1 ? argv[1] : "";
    if (std::strcmp(name, "--help") == 0 || std::strcmp(name, "-h") == 0 || std::strcmp(name, "help") == 0) {
        std::fputs(k_help, stdout);
        return EXIT_SUCCESS;
    }
    const command *chosen = find_command(name);
    if (chosen == nullptr) {
        std::fputs(k_help, stderr);
        return k_usage_error;
    }
    return run_command(*chosen, argc - 1, argv + 1);
}
