#include "modbus/mb.h"

#include "lib/base/result.h"
#include "modbus/mbcounters.h"
#include "modbus/mbevent.h"
#include "modbus/mbframe.h"
#include "modbus/mbfunc.h"
#include "modbus/porttcp.h"

#include <array>
#include <atomic>

namespace {

enum stack_state : int32_t { k_enabled = 0, k_disabled = 1, k_not_initialised = 2 };

constexpr uint8_t k_broadcast_address = 0;
constexpr uint8_t k_exception_flag = 0x80;

struct function_slot {
    uint8_t function_code; // 0: empty, and the end of every search
    mb_function_handler handler;
};

// A loaded board can start a second poll thread, which then calls mb_enable and mb_disable beside the first
// one.
std::atomic<int32_t> s_state = k_not_initialised;
const mb_frame_layer *s_frame_layer = nullptr; // null: mb_tcp_init has not succeeded
uint8_t s_own_address = 0;

// The request in work: filled by the frame-received event, used by the execute event.
uint8_t s_received_address = 0;
uint8_t *s_pdu = nullptr;
uint16_t s_pdu_length = 0;
uint8_t s_function_code = 0;
mb_exception s_exception = k_mb_ex_none;

std::array<function_slot, 16> s_functions = {{
    {0x11, mb_func_report_slave_id},
    {0x04, mb_func_read_input_registers},
    {0x03, mb_func_read_holding_registers},
    {0x10, mb_func_write_registers},
    {0x06, mb_func_write_register},
    {0x17, mb_func_read_write_registers},
    {0x01, mb_func_read_coils},
    {0x05, mb_func_write_coil},
    {0x0F, mb_func_write_coils},
    {0x02, mb_func_read_discrete_inputs},
}};

void receive_frame() {
    if (s_frame_layer->receive(&s_received_address, &s_pdu, &s_pdu_length) != k_mb_ok) {
        mb_count_foreign();
        return; // dropped: no reply is sent
    }
    if (s_received_address == s_own_address || s_received_address == k_broadcast_address) {
        mb_event_post(k_mb_event_execute);
    }
}

mb_exception run_handler() {
    for (const function_slot &slot : s_functions) {
        if (slot.function_code == 0) {
            break;
        }
        if (slot.function_code == s_function_code) {
            return slot.handler(s_pdu, &s_pdu_length);
        }
    }
    return k_mb_ex_illegal_function;
}

void execute_request() {
    s_function_code = s_pdu[0];
    mb_count_request(s_function_code);
    s_exception = run_handler();
    if (s_received_address == k_broadcast_address) {
        return;
    }
    if (s_exception != k_mb_ex_none) {
        s_pdu[0] = s_function_code | k_exception_flag;
        s_pdu[1] = static_cast<uint8_t>(s_exception);
        s_pdu_length = 2;
        mb_count_exception(s_exception);
    }
    // The transport has done what can be done about a reply that could not be sent.
    ignore_result(s_frame_layer->send(s_own_address, s_pdu, s_pdu_length));
}

} // namespace

mb_error mb_tcp_init(uint16_t port) {
    if (!tcp_port_init(port)) {
        s_state = k_disabled;
        return k_mb_port_error;
    }
    if (!mb_event_init()) {
        return k_mb_port_error;
    }
    s_frame_layer = &mb_tcp_frame_layer();
    s_own_address = k_mbap_own_unit;
    s_state = k_disabled;
    return k_mb_ok;
}

mb_error mb_enable() {
    if (s_state != k_disabled || s_frame_layer == nullptr) {
        return k_mb_illegal_state;
    }
    s_frame_layer->start();
    s_state = k_enabled;
    return k_mb_ok;
}

mb_error mb_disable() {
    if (s_state == k_enabled) {
        s_frame_layer->stop();
        s_state = k_disabled;
        return k_mb_ok;
    }
    return s_state == k_disabled ? k_mb_ok : k_mb_illegal_state;
}

mb_error mb_close() {
    if (s_state != k_disabled) {
        return k_mb_illegal_state;
    }
    if (s_frame_layer != nullptr) {
        s_frame_layer->close();
    }
    return k_mb_ok;
}

mb_error mb_poll() {
    if (s_state != k_enabled) {
        return k_mb_illegal_state;
    }
    mb_event event = k_mb_event_ready;
    if (!mb_event_get(&event)) {
        // The wait returns in a connection's child only, whose one thread has come in enabled: a second poll
        // thread of the listening process may have disabled the stack just when the child was forked.
        s_state = k_enabled;
        return k_mb_ok;
    }
    switch (event) {
    case k_mb_event_frame_received:
        receive_frame();
        break;
    case k_mb_event_execute:
        execute_request();
        break;
    case k_mb_event_ready:
    case k_mb_event_frame_sent:
        break;
    }
    return k_mb_ok;
}

mb_error mb_register_handler(uint8_t function_code, mb_function_handler handler) {
    if (function_code == 0 || function_code >= 128) {
        return k_mb_invalid_argument;
    }
    for (function_slot &slot : s_functions) {
        if (handler == nullptr && slot.function_code == function_code) {
            slot = {0, nullptr};
            return k_mb_ok;
        }
        if (handler != nullptr && (slot.handler == nullptr || slot.handler == handler)) {
            slot = {function_code, handler};
            return k_mb_ok;
        }
    }
    return handler == nullptr ? k_mb_ok : k_mb_no_resources;
}

mb_error mb_set_slave_id(uint8_t slave_id, bool running, const uint8_t *additional,
                         uint16_t additional_length) {
    return mb_func_set_slave_id(slave_id, running, {additional, additional_length});
}

mb_error mb_init_serial(mb_serial_mode /*mode*/, uint8_t address, uint8_t /*port*/, uint32_t /*baud_rate*/,
                        mb_parity /*parity*/) {
    if (address >= 1 && address <= 247) {
        s_own_address = address;
    }
    return k_mb_invalid_argument;
}
