#include "lib/ipc/internal/ipc_handlers.h"

#include "lib/base/bytes.h"
#include "lib/ipc/internal/ipc_delivery.h"
#include "lib/ipc/internal/ipc_queue.h"
#include "lib/ipc/ipc_settings.h"

namespace {

constexpr uint16_t k_nothing = 0xFFFF; // as a size: the handler does not look at the payload

enum class action : uint8_t {
    relay,   // on to the client of the same route
    value,   // the management process takes one value of it
    ignored, // accepted, and nothing is done
};

/// One row a run of commands that are handled alike.
struct one_way_row {
    uint8_t route;
    uint16_t first;
    uint16_t last;
    uint16_t payload; // the exact size expected
    action what;
};

constexpr one_way_row k_rows[] = {
    {1, 47, 58, 124, action::relay},  {1, 60, 60, 124, action::relay},       {1, 61, 61, 112, action::relay},
    {1, 62, 63, 124, action::relay},  {1, 67, 67, 2, action::relay},         {1, 68, 68, 0, action::relay},
    {1, 199, 199, 0, action::relay},  {1, 200, 200, 2, action::relay},       {1, 253, 253, 16, action::relay},
    {1, 254, 254, 2, action::relay},  {1, 255, 255, 0, action::relay},       {1, 258, 259, 1, action::relay},
    {1, 260, 263, 52, action::relay}, {2, 3, 3, k_nothing, action::ignored}, {2, 20, 20, 72, action::value},
    {2, 59, 59, 4, action::relay},    {2, 60, 60, 124, action::relay},       {2, 61, 61, 112, action::relay},
    {2, 62, 63, 124, action::relay},  {2, 67, 68, 36, action::relay},        {4, 199, 199, 4, action::relay},
    {4, 200, 200, 10, action::relay}, {5, 253, 253, 16, action::relay},      {5, 254, 255, 44, action::relay},
};

constexpr bool rows_ascend() {
    uint32_t last = 0;
    for (const one_way_row &row : k_rows) {
        const uint32_t first = (uint32_t{row.route} << 16) | row.first;
        if (first <= last || row.last < row.first) {
            return false;
        }
        last = (uint32_t{row.route} << 16) | row.last;
    }
    return true;
}
static_assert(rows_ascend(), "handlers overlap or are out of order");

const one_way_row *row_of(uint8_t route, uint16_t command) {
    for (const one_way_row &row : k_rows) {
        if (row.route == route && command >= row.first && command <= row.last) {
            return &row;
        }
    }
    return nullptr;
}

void relay(ipc_server &server, const ipc_header &header, std::span<const uint8_t> payload) {
    ipc_header onward = header;
    onward.kind = k_ipc_kind_one_way;
    ipc_message *message = ipc_message_new(onward, payload, 0);
    if (message != nullptr) {
        ipc_message_pass_on(server, message);
    }
}

} // namespace

bool ipc_handler_exists(uint8_t route, uint16_t command) { return row_of(route, command) != nullptr; }

void ipc_handler_run(ipc_server &server, const ipc_header &header, std::span<const uint8_t> payload) {
    const one_way_row *row = row_of(header.route, header.command);
    if (row == nullptr || (row->payload != k_nothing && payload.size() != row->payload)) {
        return;
    }
    switch (row->what) {
    case action::relay:
        return relay(server, header, payload);
    case action::value:
        if (ipc_get_settings().on_route2_value != nullptr) {
            ipc_get_settings().on_route2_value(get_be32(payload.data()));
        }
        return;
    case action::ignored:
        return;
    }
}
