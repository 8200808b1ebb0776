#include "lib/services/services.h"
#include "tests/support/private_scenario.h"

#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <sstream>

namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;

constexpr auto k_done = service_outcome::done;
constexpr auto k_refused = service_outcome::refused;
constexpr auto k_only_kept = service_outcome::not_supported;
constexpr const char *k_servers = "/etc/zop/servers";

/// A program that notes its arguments, then does what `body` says.
void write_program(const std::string &name, const std::string &body) {
    const std::string path = "/usr/sbin/" + name;
    std::ofstream(path) << "#!/bin/sh\necho \"" + name + " $*\" >> /run/calls\n" + body + '\n';
    fs::permissions(path, fs::perms::owner_all);
}

void write_servers(const std::string &text) {
    fs::create_directories("/etc/zop");
    std::ofstream(k_servers) << text;
    fs::permissions(k_servers, fs::perms(0644));
}

std::string calls() {
    std::ostringstream text;
    text << std::ifstream("/run/calls").rdbuf();
    fs::remove("/run/calls");
    return text.str();
}

service_answer apply(std::string_view setting, const std::vector<std::string> &arguments = {}) {
    return service_units.apply({setting, arguments, ""});
}

service_answer withdraw(std::string_view setting) { return service_units.withdraw({setting, {}, ""}); }

void with_own_programs(const std::function<void()> &scenario) {
    with_private({"/usr/sbin", "/run", "/etc"}, scenario);
}

} // namespace

TEST(Units, ServersAreUnitsOfTheServiceManager) {
    with_own_programs([] {
        write_program("systemctl",
                      "case $* in\n"
                      "*snmpd-v3*) echo 'Unit snmpd-v3.service not found.'; exit 5;;\n"
                      "*sshd*) printf '\\n\\033[31mJob failed.\\nSee the journal.\\n'; exit 1;;\n"
                      "*telnetd*) exit 1;;\n"
                      "esac");
        EXPECT_FALSE(service_units.is_here());
        fs::create_directories("/run/systemd/system");
        EXPECT_TRUE(service_units.is_here());

        EXPECT_EQ(k_done, apply("http server").outcome);
        EXPECT_EQ(k_done, withdraw("snmp_v1v2c server").outcome);
        EXPECT_EQ(k_done, apply("modbus_tcp", {"disable"}).outcome);
        EXPECT_EQ(k_done, apply("modbus_tcp", {"enable"}).outcome);
        EXPECT_EQ("systemctl --no-ask-password start httpd.service\n"
                  "systemctl --no-ask-password stop snmpd-v1v2c.service\n"
                  "systemctl --no-ask-password stop modbusd.service\n"
                  "systemctl --no-ask-password start modbusd.service\n",
                  calls());

        EXPECT_EQ(k_only_kept, apply("http server port", {"8080"}).outcome);
        EXPECT_EQ("", calls());
        EXPECT_EQ(k_only_kept, apply("snmp_v3 server").outcome) << "there is no such unit";
        const service_answer failed = apply("ssh server");
        EXPECT_EQ(k_refused, failed.outcome);
        EXPECT_EQ("ssh does not start: ?[31mJob failed.", failed.text);
        EXPECT_EQ("telnet does not stop: systemctl ended with status 1", withdraw("telnet server").text);
    });
}

TEST(Units, ServersAreProgramsOfAFileOfRoots) {
    with_own_programs([] {
        write_program("web", "[ \"$1\" != stop ] || { echo busy; exit 3; }");
        write_program("modbusd", "sleep 100 & echo $! > /run/left"); // a server that keeps its output open
        write_servers("# name, verb, program\n"
                      "http  start web begin  'a b' $(id)   # after a fashion\n"
                      "http stop web stop\n"
                      "https start\n"
                      "telnet start /usr/sbin/web\n"
                      "modbus_tcp start modbusd");
        EXPECT_TRUE(service_units.is_here());

        EXPECT_EQ(k_done, apply("http server").outcome);
        EXPECT_EQ("web begin 'a b' $(id)\n", calls()) << "words, and no shell's";
        EXPECT_EQ("http does not stop: busy", withdraw("http server").text);
        EXPECT_EQ(k_only_kept, apply("https server").outcome) << "no program";
        EXPECT_EQ(k_only_kept, withdraw("telnet server").outcome) << "no line";
        EXPECT_THAT(apply("telnet server").text, HasSubstr("cannot be run")) << "no such program";

        EXPECT_EQ(k_done, apply("modbus_tcp", {"enable"}).outcome);
        pid_t left = 0;
        std::ifstream("/run/left") >> left;
        EXPECT_EQ(0, left > 1 ? kill(left, SIGKILL) : -1) << "it goes on";

        for (const auto perms : {fs::perms(0664), fs::perms(0646)}) {
            fs::permissions(k_servers, perms);
            EXPECT_FALSE(service_units.is_here()) << "others can write it";
            EXPECT_EQ(k_only_kept, apply("http server").outcome);
        }
        fs::permissions(k_servers, fs::perms(0600));
        fs::rename(k_servers, "/etc/real");
        fs::create_symlink("/etc/real", k_servers);
        EXPECT_FALSE(service_units.is_here()) << "a link";
    });
}
