// How much a port takes and sends.

#include "lib/cmds/cmds_build.h"

namespace {

constexpr cmds_word k_words[] = {
    {"bandwidth-limit", "How much this port takes and sends."},
    {"egress", "What leaves at this port."},
    {"ingress", "What arrives at this port."},
    {"<64-1000000>", "kbit/s, 64 to 1000000; no limit by default."},
};

constexpr cmds_form k_forms[] = {
    setting(k_ports, "bandwidth-limit egress <64-1000000>",
            "Send no more than this; what is above it waits."),
    setting(k_ports, "bandwidth-limit ingress <64-1000000>",
            "Take no more than this; what is above it is dropped."),
    undo(k_ports, "no bandwidth-limit egress", "Do not limit what leaves."),
    undo(k_ports, "no bandwidth-limit ingress", "Do not limit what arrives."),
};

} // namespace

CMDS_FAMILY(bandwidth_limit, "bandwidth-limit", {k_mask_config, 2, 2, 0});
