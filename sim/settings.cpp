#include "sim/settings.h"

#include <arpa/inet.h>
#include <cstdio>
#include <type_traits>

namespace {

// ---- the state behind a target

template<typename T, typename S> T &field_of(S &state, const sim_target &target) {
    const sim_setting &setting = *target.setting;
    using byte_t = std::conditional_t<std::is_const_v<S>, const uint8_t, uint8_t>;
    byte_t *bytes = reinterpret_cast<byte_t *>(&state) + setting.offset;
    return *reinterpret_cast<T *>(bytes + setting.stride[0] * target.place[0] +
                                  setting.stride[1] * target.place[1]);
}

/// The bits of a `bits` setting; where it has an index, one element is one bit on.
uint32_t mask_of(const sim_target &target) { return target.setting->limit << target.place[0]; }

void store_bits(uint32_t &word, uint32_t mask, uint32_t bits) {
    uint32_t old = sim_load(word);
    while (!__atomic_compare_exchange_n(&word, &old, (old & ~mask) | bits, false, __ATOMIC_RELAXED,
                                        __ATOMIC_RELAXED)) {
    }
}

uint64_t load_number(const sim_state &state, const sim_target &target) {
    switch (target.setting->kind) {
    case sim_kind::octet:
        return sim_load(field_of<const uint8_t>(state, target));
    case sim_kind::address:
        return sim_load(field_of<const uint64_t>(state, target));
    case sim_kind::bits:
        return (sim_load(field_of<const uint32_t>(state, target)) & mask_of(target)) >> target.place[0];
    case sim_kind::counter:
        return sim_counter_value(state, field_of<const sim_counter>(state, target), sim_now_ns());
    case sim_kind::rate:
        return sim_load(field_of<const sim_counter>(state, target).rate);
    default:
        return sim_load(field_of<const uint32_t>(state, target));
    }
}

std::string load_text(const sim_state &state, const sim_target &target) {
    const uint8_t *bytes = &field_of<const uint8_t>(state, target);
    std::string text;
    for (size_t i = 0; i < target.setting->limit; i++) {
        const uint8_t byte = sim_load(bytes[i]);
        if (byte == 0) {
            break;
        }
        text += static_cast<char>(byte);
    }
    return text;
}

// ---- printing

std::string hexadecimal(uint64_t number, int digits) {
    char text[32];
    std::snprintf(text, sizeof text, "%0*llx", digits, static_cast<unsigned long long>(number));
    return text;
}

std::string print_number(const sim_setting &setting, uint64_t number) {
    for (const sim_value_name &value : setting.names) {
        if (number == value.value) {
            return value.name;
        }
    }
    return std::to_string(number);
}

/// Several bits can be set by way of the whole word: the first name that they contain.
std::string print_bits(const sim_setting &setting, uint64_t bits) {
    for (const sim_value_name &value : setting.names) {
        if (value.value != 0 && (bits & value.value) == value.value) {
            return value.name;
        }
    }
    return setting.names[0].name;
}

std::string print_words(const sim_state &state, const sim_target &target) {
    const uint16_t *words = &field_of<const uint16_t>(state, target);
    std::string text;
    size_t printed = 0;
    for (size_t i = 0; i < target.setting->limit; i++) {
        const uint16_t word = sim_load(words[i]);
        for (; word != 0 && printed <= i; printed++) {
            text += (printed == 0 ? "0x" : ",0x") + hexadecimal(printed == i ? word : 0, 4);
        }
    }
    return text.empty() ? "0" : text;
}

std::string print_address(uint64_t address) {
    std::string text;
    for (int shift = 40; shift >= 0; shift -= 8) {
        text += (shift == 40 ? "" : ":") + hexadecimal((address >> shift) & 0xFF, 2);
    }
    return text;
}

std::string print_ipv4(uint32_t address) {
    char text[INET_ADDRSTRLEN] = "";
    const in_addr bytes{htonl(address)};
    ::inet_ntop(AF_INET, &bytes, text, sizeof text);
    return text;
}

std::string print_ipv6(const sim_state &state, const sim_target &target) {
    const uint8_t *bytes = &field_of<const uint8_t>(state, target);
    in6_addr address{};
    for (size_t i = 0; i < sizeof address; i++) {
        address.s6_addr[i] = sim_load(bytes[i]);
    }
    char text[INET6_ADDRSTRLEN] = "";
    ::inet_ntop(AF_INET6, &address, text, sizeof text);
    return text;
}

std::string print_fault(const sim_request_fault &fault) {
    const uint32_t what = sim_load(fault.what);
    const uint32_t delay_ms = sim_load(fault.delay_ms);
    std::string text;
    if ((what & k_sim_fault_fail) != 0) {
        text += ",fail";
    }
    if ((what & k_sim_fault_code) != 0) {
        text += ",code=" + std::to_string(sim_load(fault.return_code));
    }
    if (delay_ms != 0) {
        text += ",late=" + std::to_string(delay_ms);
    }
    return text.empty() ? "ok" : text.substr(1);
}

} // namespace

void sim_change_apply(sim_state &state, const sim_change &change) {
    const sim_target &target = change.target;
    const sim_value &value = change.value;
    const auto number = static_cast<uint32_t>(value.number);
    switch (target.setting->kind) {
    case sim_kind::number:
    case sim_kind::integer:
    case sim_kind::ipv4:
        sim_store(field_of<uint32_t>(state, target), number);
        break;
    case sim_kind::octet:
        sim_store(field_of<uint8_t>(state, target), static_cast<uint8_t>(number));
        break;
    case sim_kind::bits:
        store_bits(field_of<uint32_t>(state, target), mask_of(target), number << target.place[0]);
        break;
    case sim_kind::text:
        for (size_t i = 0; i < target.setting->limit; i++) {
            sim_store((&field_of<uint8_t>(state, target))[i], static_cast<uint8_t>(value.text[i]));
        }
        break;
    case sim_kind::ipv6:
        for (size_t i = 0; i < sizeof(in6_addr); i++) {
            sim_store((&field_of<uint8_t>(state, target))[i], static_cast<uint8_t>(value.text[i]));
        }
        break;
    case sim_kind::words:
        for (size_t i = 0; i < target.setting->limit; i++) {
            sim_store((&field_of<uint16_t>(state, target))[i], value.words[i]);
        }
        break;
    case sim_kind::address:
        sim_store(field_of<uint64_t>(state, target), value.number);
        break;
    case sim_kind::link:
        sim_port_set_link(state, state.ports[target.place[0]], number != 0);
        break;
    case sim_kind::counter:
        sim_counter_set(state, state.ports[target.place[0]], field_of<sim_counter>(state, target), number);
        break;
    case sim_kind::rate:
        sim_counter_set_rate(state, state.ports[target.place[0]], field_of<sim_counter>(state, target),
                             number);
        break;
    case sim_kind::fault: {
        auto &fault = field_of<sim_request_fault>(state, target);
        sim_store(fault.return_code, value.fault.return_code);
        sim_store(fault.delay_ms, value.fault.delay_ms);
        sim_store(fault.what, value.fault.what);
        break;
    }
    }
}

std::string sim_target_name(const sim_target &target) {
    std::string name;
    size_t next = 0;
    for (const char *c = target.setting->name; *c != '\0'; c++) {
        if (*c == '#') {
            name += sim_index_label(target.setting->index[next], target.place[next]);
            next++;
        } else {
            name += *c;
        }
    }
    return name;
}

std::string sim_target_value(const sim_state &state, const sim_target &target) {
    switch (target.setting->kind) {
    case sim_kind::text: {
        const std::string text = load_text(state, target);
        return text.empty() ? "\"\"" : text;
    }
    case sim_kind::words:
        return print_words(state, target);
    case sim_kind::integer:
        return std::to_string(static_cast<int32_t>(load_number(state, target)));
    case sim_kind::ipv4:
        return print_ipv4(static_cast<uint32_t>(load_number(state, target)));
    case sim_kind::ipv6:
        return print_ipv6(state, target);
    case sim_kind::address:
        return print_address(load_number(state, target));
    case sim_kind::fault:
        return print_fault(field_of<const sim_request_fault>(state, target));
    case sim_kind::bits:
        return print_bits(*target.setting, load_number(state, target));
    default:
        return print_number(*target.setting, load_number(state, target));
    }
}

bool sim_target_is_zero(const sim_state &state, const sim_target &target) {
    switch (target.setting->kind) {
    case sim_kind::text:
        return load_text(state, target).empty();
    case sim_kind::words:
        return print_words(state, target) == "0";
    case sim_kind::ipv6:
        return print_ipv6(state, target) == "::";
    case sim_kind::fault:
        return print_fault(field_of<const sim_request_fault>(state, target)) == "ok";
    default:
        return load_number(state, target) == 0;
    }
}
