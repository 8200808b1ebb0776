// The program that plays supplicants and servers.

#include "tests/support/child_process.h"

#include <gmock/gmock.h>

namespace {

using testing::HasSubstr;
using words = std::vector<std::string>;

TEST(Dot1xSim, EachScriptGoesThroughItsStates) {
    const struct {
        const char *script, *states;
    } k_cases[] = {
        {"accept", "RESPONSE REQUEST RESPONSE SUCCESS IDLE"},
        {"reject", "RESPONSE REQUEST RESPONSE FAIL IDLE"},
        {"silent-supplicant", "RESPONSE REQUEST REQUEST TIMEOUT IDLE"},
        {"late-supplicant", "RESPONSE REQUEST REQUEST RESPONSE SUCCESS IDLE"},
        {"silent-server", "RESPONSE TIMEOUT IDLE"},
        {"abort", "RESPONSE REQUEST INITIALIZE IDLE"},
        {"reauth", "RESPONSE REQUEST RESPONSE SUCCESS IDLE RESPONSE REQUEST RESPONSE SUCCESS IDLE"},
        {"reauth-timeout", "RESPONSE REQUEST RESPONSE SUCCESS IDLE RESPONSE TIMEOUT IDLE"},
    };
    for (const auto &c : k_cases) {
        EXPECT_THAT(run_command(own_program("dot1x_sim", {c.script})).output,
                    HasSubstr(std::string("states: INITIALIZE IDLE ") + c.states + "\n"));
    }
}

TEST(Dot1xSim, CommandLinesAreTakenWholeOrRefused) {
    const struct {
        words arguments;
        int status;
        const char *said;
    } k_cases[] = {
        {{"accept", "--debug"}, 0, "backend_SM_transition,"},
        {{"--play", "--", "-", "--debug"}, 0, "backend_SM_transition,"},
        {{"--play", std::string(200, 'r'), std::string(200, 'q')}, 0, "RESPONSE REQUEST ...\n"},
        {{"--play", "rz", "q"}, 2, "dot1x_sim: z: no such letter"},
        {{"--play", "r", "qR"}, 2, "dot1x_sim: R: no such letter"},
        {{"--play", "r"}, 2, "dot1x_sim: --play: wants SUPPLICANT and SERVER"},
        {{"--list", "accept"}, 2, "dot1x_sim: accept: too much"},
        {{"accept", "--list"}, 2, "dot1x_sim: --list: does not go with"},
        {{"--sing"}, 2, "dot1x_sim: --sing: no such option"},
        {{"--check", "/"}, 1, "dot1x_sim: cannot read /: Is a directory"},
        {{"--check", "/nonexistent"}, 1, "dot1x_sim: cannot read /nonexistent: No such file"},
    };
    for (const auto &c : k_cases) {
        const command_result result = run_command(own_program("dot1x_sim", c.arguments));
        EXPECT_EQ(c.status, result.status) << c.said;
        EXPECT_THAT(result.output, HasSubstr(c.said));
    }
    const command_result unplayed = run_command(own_program("dot1x_sim", {"accept", "nobody"}));
    EXPECT_EQ(2, unplayed.status);
    EXPECT_EQ("dot1x_sim: no script is named \"nobody\"; --list names them\n", unplayed.output);
}

TEST(Dot1xSim, AFullDiskIsAFailure) {
    words command = {"sh", "-c", R"("$@" >/dev/full)", "sh"};
    const words program = own_program("dot1x_sim", {"accept"});
    command.insert(command.end(), program.begin(), program.end());
    const command_result result = run_command(command);
    EXPECT_EQ(1, result.status);
    EXPECT_EQ("dot1x_sim: standard output: No space left on device\n", result.output);
}

} // namespace
