// The shell with the commands of the switch, on a desk: installing them, lines, help, and configurations of
// thousands of lines. Part of bench_shell, whose made-up vocabulary is the reference for lines and listings.

#include "bench/shell_peer.h"
#include "lib/cli/cli_config.h"
#include "lib/cli/cli_help.h"
#include "lib/cli/cli_parser.h"
#include "lib/cli/cli_tree.h"
#include "lib/cli/csh_output.h"
#include "lib/cmds/cmds_config.h"
#include "lib/cmds/cmds_values.h"
#include "lib/config/config_file.h"
#include "lib/services/services.h"
#include "tests/support/command_lines.h"

#include <algorithm>
#include <benchmark/benchmark.h>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>

namespace {

bool s_only_parse = false; // lines are not carried out

} // namespace

// The linker leads calls of cmds_run here.
// NOLINTBEGIN(bugprone-reserved-identifier): by these names
extern "C" {
int32_t __real__Z8cmds_runiPKPKc(int32_t argc, const char *const *argv);
int32_t __wrap__Z8cmds_runiPKPKc(int32_t argc, const char *const *argv) {
    return s_only_parse ? 0 : __real__Z8cmds_runiPKPKc(argc, argv);
}
}
// NOLINTEND(bugprone-reserved-identifier)

namespace {

void require(bool holds) {
    if (!holds) {
        std::abort();
    }
}

void install_once() {
    static const bool s_installed = [] {
        services_on_desk();
        std::filesystem::create_directories("/var/config");
        return cmds_install() == 0;
    }();
    require(s_installed);
}

/// Installing is done once in a process, and so each time in a new one. Goes before what installs in this
/// one.
void install_commands(benchmark::State &state) {
    for ([[maybe_unused]] auto _ : state) {
        int ends[2];
        double seconds = 0;
        require(::pipe(ends) == 0);
        const pid_t child = ::fork();
        if (child == 0) {
            const auto start = std::chrono::steady_clock::now();
            require(cmds_install() == 0);
            seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
            require(::write(ends[1], &seconds, sizeof seconds) == sizeof seconds);
            ::_exit(0);
        }
        require(::read(ends[0], &seconds, sizeof seconds) == sizeof seconds);
        ::waitpid(child, nullptr, 0);
        ::close(ends[0]);
        ::close(ends[1]);
        state.SetIterationTime(seconds);
    }
}

const cmds_mode &fullest_mode() {
    return *std::max_element(std::begin(k_cmds_modes), std::end(k_cmds_modes),
                             [](const cmds_mode &a, const cmds_mode &b) {
                                 return cli_command_count(a.id) < cli_command_count(b.id);
                             });
}

/// Every command of the mode that has most, in turn, up to its handler.
void execute_line_of_fullest_mode(benchmark::State &state) {
    install_once();
    const cmds_mode &mode = fullest_mode();
    std::vector<std::string> lines;
    for (const placed_row &placed : all_rows()) {
        if (placed.mode == &mode) {
            lines.push_back(good_line(placed.row->form->line));
        }
    }
    cli_session session = cmds_session_in(mode.id);
    session.mode_mask |= k_mask_debug | k_mask_engineering;
    s_only_parse = true;
    size_t i = 0;
    for ([[maybe_unused]] auto _ : state) {
        require(cli_session_execute(&session, lines[i].c_str()) == 0);
        i = (i + 1) % lines.size();
    }
    s_only_parse = false;
    state.counters["commands"] = static_cast<double>(lines.size());
}

/// What "?" prints at the beginning of a line, into a file as ever.
void help_of_config(benchmark::State &state) {
    install_once();
    const cli_session session = cmds_session_in(k_cli_mode_config);
    int32_t lines = 0;
    for ([[maybe_unused]] auto _ : state) {
        csh_output_truncate();
        lines = cli_help_line(session, "");
    }
    csh_output_remove();
    state.counters["lines"] = lines;
}

// ---- configurations

constexpr const char *k_file = "/var/bench.save";
constexpr int64_t k_lines = 5000;
constexpr int64_t k_most_lines = 3 * k_vlan_max; // of VLANs alone, and then those of the ports and so on

struct free_store {
    void operator()(config_store *store) const { config_free(store); }
};
using owned_store = std::unique_ptr<config_store, free_store>;

int64_t lines_of(const std::string &text) { return std::count(text.begin(), text.end(), '\n'); }

owned_store read_file() {
    owned_store store(config_new());
    require(cmds_read_config(k_file, *store, [](int32_t) { std::abort(); }) == 0);
    return store;
}

/// Every setting of every mode, in all ports where it is one of ports, and then VLANs with names up to so
/// many lines.
std::string make_configuration(int64_t lines) {
    std::string text;
    for (const cmds_mode &mode : k_cmds_modes) {
        const bool entered = mode.line != nullptr && mode.from == k_cli_mode_config;
        if (!entered && mode.id != k_cli_mode_config) {
            continue;
        }
        text += entered ? (mode.about == cmds_about::ports ? "interface range gigabitethernet1/0/ 1-12"
                                                           : good_line(mode.line)) +
                              "\n"
                        : "";
        for (const placed_row &placed : all_rows()) {
            const cmds_form &form = *placed.row->form;
            if (placed.mode == &mode && form.kind == cmds_kind::setting) {
                text += changing_line(form) + "\n";
            }
        }
        text += "!\n";
    }
    std::ofstream(k_file) << text;
    text = config_text(*read_file());
    for (int64_t vlan = 1; vlan <= k_vlan_max && lines_of(text) < lines; vlan++) {
        const std::string id = std::to_string(vlan);
        if (text.find("\nvlan " + id + "\n") != std::string::npos) {
            continue;
        }
        text.append("vlan ").append(id).append("\nname storey-").append(id).append("\n!\n");
    }
    std::ofstream(k_file) << text;
    return text;
}

/// Benchmarks of a configuration of so many lines.
void with_lines(benchmark::internal::Benchmark *one) {
    one->Arg(k_lines)->Arg(k_most_lines)->Unit(benchmark::kMillisecond);
}

/// Makes it the running configuration and leaves it in the file.
void run_configuration(benchmark::State &state) {
    install_once();
    config_clear(cmds_store());
    require(cli_run_config(make_configuration(state.range(0)), [](int32_t) { std::abort(); }) == 0);
    const std::string text = config_text(cmds_store());
    std::ofstream(k_file) << text;
    state.counters["lines"] = static_cast<double>(lines_of(text));
}

void run_line(const char *line) {
    cli_session session = cmds_session_in(k_mode_exec);
    csh_output_truncate();
    require(cli_session_execute(&session, line) == 0);
}

void show_configuration(benchmark::State &state) {
    run_configuration(state);
    for ([[maybe_unused]] auto _ : state) {
        run_line("show running-config");
    }
}

/// To a file system in memory: what a disk takes comes on top.
void save_configuration(benchmark::State &state) {
    run_configuration(state);
    for ([[maybe_unused]] auto _ : state) {
        run_line("write memory");
    }
}

void replay_configuration(benchmark::State &state) {
    run_configuration(state);
    for ([[maybe_unused]] auto _ : state) {
        read_file();
    }
}

/// Two settings of every VLAN, by a line each.
void replay_range_of_vlans(benchmark::State &state) {
    install_once();
    std::ofstream(k_file) << "vlan range 1-4094\nstate suspended\nunknown-unicast drop\n";
    for ([[maybe_unused]] auto _ : state) {
        read_file();
    }
}

/// VLANs with names, the last one first.
void replay_backwards(benchmark::State &state) {
    install_once();
    std::ofstream file(k_file);
    for (int32_t vlan = k_vlan_max; vlan > 0; vlan--) {
        file << "vlan " << vlan << "\nname storey-" << vlan << "\n!\n";
    }
    file.close();
    for ([[maybe_unused]] auto _ : state) {
        read_file();
    }
}

void compare_configuration(benchmark::State &state) {
    run_configuration(state);
    run_line("write memory");
    for ([[maybe_unused]] auto _ : state) {
        run_line("show running-config changes");
    }
    csh_output_remove();
}

// ---- memory

int64_t private_kib(pid_t process) {
    std::ifstream rollup("/proc/" + std::to_string(process) + "/smaps_rollup");
    int64_t sum = 0;
    std::string name;
    for (std::string line; std::getline(rollup, line);) {
        if (line.starts_with("Private_Clean:") || line.starts_with("Private_Dirty:")) {
            sum += std::strtoll(line.c_str() + line.find(':') + 1, nullptr, 10);
        }
    }
    return sum;
}

[[noreturn]] void run_zop_serv(const char * /*path*/) {
    const std::string program = std::filesystem::read_symlink("/proc/self/exe").parent_path() / "zop_serv";
    ::execl(program.c_str(), program.c_str(), "--desk", nullptr);
    ::_exit(127);
}

/// zop_serv itself, once it has replayed a configuration and answers.
void memory_of_zop_serv(benchmark::State &state) {
    install_once();
    std::filesystem::remove(k_cmds_saved_config);
    if (state.range(0) > 0) {
        make_configuration(state.range(0));
        std::filesystem::rename(k_file, k_cmds_saved_config);
    }
    for ([[maybe_unused]] auto _ : state) {
        const peer zop_serv(run_zop_serv, k_csh_server_path);
        csh_message message{};
        message.type = 4;
        message.pid = ::getpid();
        message.session = cmds_session_in(k_mode_exec);
        std::snprintf(message.text, sizeof message.text, "show running-config");
        zop_serv.exchange(&message);
        state.counters["private_KiB"] = static_cast<double>(private_kib(zop_serv.server()));
    }
    csh_output_remove();
    std::filesystem::remove(k_csh_server_path);
    std::filesystem::remove(k_cmds_saved_config);
}

} // namespace

BENCHMARK(install_commands)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(execute_line_of_fullest_mode);
BENCHMARK(help_of_config);
BENCHMARK(show_configuration)->Apply(with_lines);
BENCHMARK(save_configuration)->Apply(with_lines);
BENCHMARK(replay_configuration)->Apply(with_lines);
BENCHMARK(replay_range_of_vlans)->Unit(benchmark::kMillisecond);
BENCHMARK(replay_backwards)->Unit(benchmark::kMillisecond);
BENCHMARK(compare_configuration)->Apply(with_lines);
BENCHMARK(memory_of_zop_serv)->Arg(0)->Arg(k_lines)->Arg(k_most_lines)->Iterations(1);
