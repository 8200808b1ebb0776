// Serves the switch-access device from user space.

#include "apps/sasid/device.h"
#include "apps/sasid/options.h"
#include "lib/base/standard_streams.h"

int main(int argc, char **argv) {
    hold_standard_streams();
    sasid_options wanted;
    if (const int status = sasid_parse_options(argc, argv, wanted); status >= 0) {
        return end_output("sasid", status, 1);
    }
    const sasid_source *source = &k_sasid_no_source;
#ifdef ZOP_HAS_SIMULATOR
    if (wanted.source == sasid_source_kind::simulated) {
        source = &sasid_simulated_source(wanted.state);
    }
#endif
#ifdef ZOP_HAS_LINUX_SWITCH
    if (wanted.source == sasid_source_kind::linux_bridge) {
        source = sasid_linux_source(wanted.bridge);
    }
#endif
    if (source == nullptr) {
        return 2; // it has been said why
    }
    sasid_serve({wanted.device, wanted.user, source});
}
