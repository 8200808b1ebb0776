#include "lib/services/time_results.h"

#include "lib/base/parse_number.h"
#include "lib/base/take_piece.h"
#include "lib/time/sntp_client.h"
#include "lib/time/sntp_clock.h"

#include <algorithm>
#include <iterator>

namespace {

struct result_text {
    int32_t result;
    service_outcome outcome; // done: the setting stands
    const char *text;
};

constexpr result_text k_results[] = {
    {k_sntp_no_date, service_outcome::refused, "The present date cannot be read"},
    {k_sntp_bad_year, service_outcome::refused, "A year is 1970 to 2037"},
    {k_sntp_bad_month, service_outcome::refused, "A month is 1 to 12"},
    {k_sntp_bad_day, service_outcome::refused, "The month has no such day"},
    {k_sntp_bad_hour, service_outcome::refused, "An hour is 0 to 23"},
    {k_sntp_bad_minute, service_outcome::refused, "A minute is 0 to 59"},
    {k_sntp_bad_second, service_outcome::refused, "A second is 0 to 59"},
    {k_sntp_bad_rule, service_outcome::refused, "There is no such day of summer time"},
    {k_sntp_bad_ipv4, service_outcome::refused, "No server can have this address"},
    {k_sntp_no_socket, service_outcome::refused,
     "The time service cannot be asked: there is no socket for it"},
    {k_sntp_no_bind, service_outcome::refused, "The time service cannot be asked: there is no local address"},
    {k_sntp_no_send, service_outcome::refused, "The time service cannot be asked: nothing can be sent to it"},
    {k_sntp_no_receive, service_outcome::refused, "The answer of the time service cannot be read"},
    {k_sntp_address_off_subnet, service_outcome::done, "There is no way to this server at present.\n"},
    {k_sntp_server_off_subnet, service_outcome::done, "There is no way to this server at present.\n"},
    {k_sntp_no_ipv6, service_outcome::done, "The switch has no IPv6 address at present.\n"},
};

} // namespace

service_answer time_answer(int32_t result) {
    if (result == 0) {
        return {};
    }
    const auto *const found = std::find_if(std::begin(k_results), std::end(k_results),
                                           [=](const result_text &row) { return row.result == result; });
    if (found != std::end(k_results)) {
        return {found->outcome, found->text};
    }
    return {service_outcome::refused, "The time service refuses it with code " + std::to_string(result)};
}

std::array<int32_t, 3> time_numbers(std::string_view text, char separator) {
    std::array<int32_t, 3> numbers = {-1, -1, -1};
    for (int32_t &number : numbers) {
        if (!parse_number(take_piece(text, separator), &number)) {
            number = -1; // in no range
        }
    }
    return numbers;
}
