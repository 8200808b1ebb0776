#include "apps/common/text_file.h"
#include "apps/sasid/source.h"
#include "lib/base/take_piece.h"
#include "lib/linux_switch/linux_source.h"
#include "lib/sasi/sasi_engine.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace {

linux_switch_settings *s_settings = nullptr; // what to begin with; never freed
linux_switch *s_followed = nullptr;          // null: not begun; followed to the end of the process

const sasid_source *refuse(const char *problem, const char *text) {
    std::fprintf(stderr, "sasid: %s: %s\n", text, problem);
    return nullptr;
}

bool start(std::string &error) {
    int32_t failure = 0;
    s_followed = linux_switch_start(std::move(*s_settings), &failure).release();
    if (s_followed == nullptr) {
        error = std::string("cannot ask the kernel about interfaces: ") + std::strerror(failure);
    }
    return s_followed != nullptr;
}

int32_t answer(uint32_t number, sasi_block &block, uint32_t * /*delay_ms*/) {
    sasi_answer(linux_source{s_followed}, sasi_kind_of(number, block), block);
    return 0;
}

constexpr sasid_source k_source = {start, nullptr, answer};

/// Adds a port to the list. Returns what is wrong with it, or null.
const char *add_port(std::string_view text, std::vector<linux_name> &ports) {
    linux_name name{};
    if (!linux_name_of(text, &name)) {
        return "no name of an interface";
    }
    if (std::find(ports.begin(), ports.end(), name) != ports.end()) {
        return "one port is named twice";
    }
    if (ports.size() == k_switch_ports) {
        return "more ports than the switch has";
    }
    ports.push_back(name);
    return nullptr;
}

/// The first watched port that the list of ports does not have, or null.
const linux_name *stranger(const linux_switch_settings &settings) {
    const auto found = std::find_if(
        settings.config.watched.begin(), settings.config.watched.end(), [&](const linux_name &name) {
            return std::find(settings.ports.begin(), settings.ports.end(), name) == settings.ports.end();
        });
    return settings.ports.empty() || found == settings.config.watched.end() ? nullptr : &*found;
}

} // namespace

const sasid_source *sasid_linux_source(const sasid_bridge &bridge) {
    linux_switch_settings settings;
    if (!linux_name_of(bridge.name, &settings.bridge)) {
        return refuse("no name of an interface", bridge.name.c_str());
    }
    for (std::string_view rest = bridge.ports; !rest.empty();) {
        if (const char *const problem = add_port(take_piece(rest, ','), settings.ports); problem != nullptr) {
            return refuse(problem, bridge.ports.c_str());
        }
    }
    std::string text;
    std::string error;
    if (!bridge.config.empty()) {
        if (!read_text_file("sasid", bridge.config, text)) {
            return nullptr;
        }
        if (!linux_config_parse(text, bridge.config, settings.config, error)) {
            std::fprintf(stderr, "sasid: %s\n", error.c_str());
            return nullptr;
        }
    }
    if (const linux_name *const name = stranger(settings); name != nullptr) {
        return refuse("watched, but not among --ports", name->data());
    }
    delete s_settings;
    s_settings = new linux_switch_settings(std::move(settings));
    return &k_source;
}
