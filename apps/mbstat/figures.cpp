#include "apps/mbstat/figures.h"

#include <algorithm>
#include <iterator>

namespace {

struct meaning {
    const char *label;
    const char *text;
};

constexpr meaning k_ends[] = {{"peer", "closed or broken off by the client"},
                              {"silence", "300 s without a byte, or a reply not taken for as long"},
                              {"bad_frame", "length in the header is 0 or beyond the buffer"},
                              {"crash", "its process was ended by a signal, or failed"},
                              {"no_process", "no process could be made for it"}};
static_assert(std::size(k_ends) == static_cast<size_t>(mb_end::count));

constexpr meaning k_functions[] = {{"0x01", "read coils"},
                                   {"0x02", "read discrete inputs"},
                                   {"0x03", "read holding registers"},
                                   {"0x04", "read input registers"},
                                   {"0x05", "write single coil"},
                                   {"0x06", "write single register"},
                                   {"0x0F", "write multiple coils"},
                                   {"0x10", "write multiple registers"},
                                   {"0x11", "report slave ID"},
                                   {"0x17", "read/write multiple registers"},
                                   {"other", "not supported"}};
static_assert(std::size(k_functions) == k_mb_counted_functions.size() + 1);

constexpr meaning k_exceptions[] = {{"1", "illegal function"},
                                    {"2", "illegal data address"},
                                    {"3", "illegal data value"},
                                    {"4", "slave device failure"},
                                    {"6", "slave busy"}};
static_assert(std::size(k_exceptions) == k_mb_counted_exceptions.size());

/// The sum over all places of what `of` takes from each.
template<typename Of> uint64_t sum(const mb_counters_page &page, Of of) {
    uint64_t total = 0;
    for (const mb_child_counters &child : page.children) {
        total += shared_count_get(of(child));
    }
    return total;
}

template<typename ValueOf>
std::vector<stat_group::member> members_of(std::span<const meaning> meanings, ValueOf value_of) {
    std::vector<stat_group::member> members;
    for (size_t i = 0; i < meanings.size(); i++) {
        members.push_back({meanings[i].label, meanings[i].text, value_of(i)});
    }
    return members;
}

std::vector<stat_figure> figures_of(const mb_counters_page &page, int64_t now_us) {
    const auto total = [&](shared_count mb_child_counters::*field) {
        return sum(page,
                   [=](const mb_child_counters &child) -> const shared_count & { return child.*field; });
    };
    const auto device_total = [&](shared_count sasi_tally::*field) {
        return sum(page, [=](const mb_child_counters &child) -> const shared_count & {
            return child.device.*field;
        });
    };
    uint64_t slowest = 0;
    for (const mb_child_counters &child : page.children) {
        slowest = std::max(slowest, shared_count_get(child.slowest_read_us));
    }
    const auto running_us = static_cast<uint64_t>(std::max<int64_t>(now_us - page.started_us, 0));
    return {
        {"process", "Process", "", "modbusd_process_id", false, "Number of the listening process.",
         static_cast<uint64_t>(page.process_id)},
        {"running_s", "Counting for", "s", "modbusd_running_seconds", false,
         "Time since the daemon has started, and counted from 0.", running_us / 1000000},
        {"open", "Connections open", "", "modbusd_connections_open", false,
         "Connections that are served now; at most 10.", shared_count_get(page.open)},
        {"accepted", "Accepted", "connections", "modbusd_connections_accepted_total", true,
         "Connections accepted, without those refused.", shared_count_get(page.accepted)},
        {"refused", "Refused", "connections", "modbusd_connections_refused_total", true,
         "Connections closed at once, since 10 were open.", shared_count_get(page.refused)},
        {"foreign_frames", "Foreign frames", "frames", "modbusd_foreign_frames_total", true,
         "Frames of another protocol, which got no reply.", total(&mb_child_counters::foreign)},
        {"device_requests", "Device requests", "requests", "modbusd_device_requests_total", true,
         "Requests to the switch-access device.", device_total(&sasi_tally::requests)},
        {"device_failures", "Device failures", "requests", "modbusd_device_failures_total", true,
         "Requests to the switch-access device that failed.", device_total(&sasi_tally::failures)},
        {"input_reads", "Input reads", "reads", "modbusd_input_reads_total", true,
         "Reads of input registers that were carried out.", total(&mb_child_counters::reads)},
        {"input_read_us", "Time they took", "us", "modbusd_input_read_seconds_total", true,
         "Time that reads of input registers took, from the request's checks to its values.",
         total(&mb_child_counters::read_us)},
        {"slowest_input_read_us", "Slowest of them", "us", "modbusd_input_read_slowest_seconds", false,
         "Time that the slowest read of input registers took.", slowest},
    };
}

} // namespace

stat_figures stat_figures_of(const mb_counters_page &page, int64_t now_us) {
    return {figures_of(page, now_us),
            {{"ended", "Connections that have ended", "reason", "Reason", "connections", "Connections",
              "modbusd_connections_ended_total", "Connections that have ended, by how.",
              members_of(k_ends, [&](size_t i) { return shared_count_get(page.ended[i]); })},
             {"requests", "Requests by function code", "function", "Code", "requests", "Requests",
              "modbusd_requests_total", "Requests carried out or refused, by function code.",
              members_of(k_functions,
                         [&](size_t i) {
                             return sum(page, [=](const mb_child_counters &child) -> const shared_count & {
                                 return child.requests[i];
                             });
                         })},
             {"exceptions", "Exceptions by code", "code", "Code", "replies", "Replies",
              "modbusd_exceptions_total", "Replies that were exceptions, by exception code.",
              members_of(k_exceptions, [&](size_t i) {
                  return sum(page, [=](const mb_child_counters &child) -> const shared_count & {
                      return child.exceptions[i];
                  });
              })}}};
}
