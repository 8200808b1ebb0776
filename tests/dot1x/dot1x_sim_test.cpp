// The program that plays supplicants and servers.

#include "tests/support/child_process.h"

#include <gmock/gmock.h>

namespace {

using testing::HasSubstr;
using words = std::vector<std::string>;

TEST(Dot1xSim, PlaysScriptsAndTakesCommandLinesWholeOrNotAtAll) {
    const struct {
        words arguments;
        int status;
        const char *said;
    } k_cases[] = {
        {{"accept", "--debug"}, 0, "backend_SM_transition,"},
        {{"late-supplicant"}, 0, "states: INITIALIZE IDLE RESPONSE REQUEST REQUEST RESPONSE SUCCESS IDLE\n"},
        {{"abort"}, 0, "states: INITIALIZE IDLE RESPONSE REQUEST INITIALIZE IDLE\n"},
        {{"reject"}, 0, "REQUEST RESPONSE FAIL IDLE\n"},
        {{"reauth-timeout"}, 0, "RESPONSE REQUEST RESPONSE SUCCESS IDLE RESPONSE TIMEOUT IDLE\n"},
        {{"--play", "--", "-", "--debug"}, 0, "backend_SM_transition,"},
        {{"--play", std::string(200, 'r'), std::string(200, 'q')}, 0, "RESPONSE REQUEST ...\n"},
        {{"--play", "rz", "q"}, 2, "dot1x_sim: z: no such letter"},
        {{"--play", "r", "qR"}, 2, "dot1x_sim: R: no such letter"},
        {{"--list", "accept"}, 2, "dot1x_sim: accept: too much"},
        {{"accept", "--list"}, 2, "dot1x_sim: --list: does not go with"},
        {{"accept", "nobody"}, 2, "dot1x_sim: no script is named \"nobody\"; --list names them"},
        {{"--sing"}, 2, "dot1x_sim: --sing: no such option"},
        {{"--check", "/"}, 1, "dot1x_sim: cannot read /: Is a directory"},
    };
    for (const auto &c : k_cases) {
        const command_result result = run_command(own_program("dot1x_sim", c.arguments));
        EXPECT_EQ(c.status, result.status) << c.said;
        EXPECT_THAT(result.output, HasSubstr(c.said));
        EXPECT_TRUE(c.status == 0 || result.output.starts_with(c.said)) << "nothing is played";
    }
}

} // namespace
