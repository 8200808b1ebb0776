#include "tests/time/own_machine.h"

#include "tests/support/private_mounts.h"
#include "tests/support/private_network.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace {

constexpr const char *k_folder = "/var/tmp/own";
constexpr const char *k_program = "/var/tmp/own/date";
constexpr const char *k_runs = "/var/tmp/own/runs";
constexpr const char *k_said = "/var/tmp/own/said";
constexpr const char *k_date = R"(#!/bin/sh
echo "$*" >> /var/tmp/own/runs
[ $# -gt 0 ] || while read -r line; do echo "$line"; done < /var/tmp/own/said
)";

} // namespace

void own_machine::SetUp() {
    if (!with_empty_directories({"/var/tmp"}) || !with_private_network(true)) {
        GTEST_SKIP() << "no namespaces on this machine";
    }
    std::filesystem::create_directory(k_folder);
    std::ofstream(k_program) << k_date;
    std::filesystem::permissions(k_program, std::filesystem::perms::owner_all);
    // The whole of it, so that the machine's own date is out of reach.
    ::setenv("PATH", k_folder, 1);
    say_date("Thu Feb 29 23:58:59 UTC 2024");
}

void own_machine::say_date(const std::string &text) { std::ofstream(k_said) << text << '\n'; }

std::string own_machine::date_runs() {
    std::ostringstream text;
    text << std::ifstream(k_runs).rdbuf();
    std::filesystem::remove(k_runs);
    return text.str();
}
