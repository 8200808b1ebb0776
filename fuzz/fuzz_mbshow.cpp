// Replies of a hostile server to mbshow, cut, damaged, late and made up as the input says: what is taken for
// registers are those of a reply that is right in every byte, and whatever they hold can be shown.

#include "apps/mbshow/client.h"
#include "apps/mbshow/image.h"
#include "apps/mbshow/report.h"
#include "lib/base/bytes.h"
#include "lib/base/mbap.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <ctime>
#include <poll.h>
#include <string_view>
#include <sys/socket.h>
#include <vector>

namespace {

constexpr int k_fd = 1000;
constexpr size_t k_request_size = 12;
constexpr size_t k_columns = 132; // with a text that is too wide for its column
// An input of this and one byte more has the whole map read and shown, which takes a hundred times as long.
constexpr std::string_view k_show = "show";

constexpr uint16_t k_count_max = 125;
constexpr int64_t k_patience_s = 6; // more than the client has

// Beginning of a good reply: header, function, byte count.
constexpr size_t k_at_values = 9;

enum class obstacle : uint8_t { none, end, reset, silence, interrupted, not_ready, count };

const uint8_t *s_input = nullptr; // what is left of it
const uint8_t *s_end = nullptr;
uint32_t s_state = 0;            // of the generator that fills registers
int64_t s_seconds = 0;           // the clock
std::vector<uint8_t> s_incoming; // sent by the server, not taken yet
obstacle s_obstacle = obstacle::none;
size_t s_piece = 0; // bytes that a receive gives
bool s_open = false;
bool s_right = false;             // whether what answers the request does
std::vector<uint16_t> s_expected; // the registers it has then
bool s_small = false;             // registers hold small numbers, which have words

void require(bool holds) {
    if (!holds) {
        std::abort();
    }
}

uint8_t next_byte() { return s_input < s_end ? *s_input++ : uint8_t{0}; }

uint8_t random_byte() {
    s_state = s_state * 1664525U + 1013904223U;
    const auto byte = static_cast<uint8_t>(s_state >> 24);
    return s_small ? byte & 1 : byte;
}

std::vector<uint8_t> good_reply(const uint8_t *request) {
    const size_t count = get_be16(request + 10);
    std::vector<uint8_t> reply(request, request + k_at_values);
    put_be16(&reply[k_mbap_at_length], static_cast<uint16_t>(3 + 2 * count));
    reply[k_mbap_at_pdu + 1] = static_cast<uint8_t>(2 * count);
    std::generate_n(std::back_inserter(reply), 2 * count, random_byte);
    return reply;
}

/// A control byte of the input says what comes: the low two bits how the reply is damaged.
void answer(const uint8_t *request) {
    const uint8_t control = next_byte();
    const uint8_t how = control >> 2;
    std::vector<uint8_t> reply = good_reply(request);
    s_obstacle = obstacle::none;
    s_piece = SIZE_MAX;
    if ((control & 3) == 1) { // some bytes changed
        for (int i = 0; i <= how % 4; i++) {
            const size_t place = next_byte() % reply.size();
            reply[place] = static_cast<uint8_t>(reply[place] ^ next_byte());
        }
        s_piece = how / 4 + size_t{1};
    } else if ((control & 3) == 2) { // something else
        const size_t size = std::min<size_t>(next_byte() + how * 16U, static_cast<size_t>(s_end - s_input));
        reply.assign(s_input, s_input + size);
        s_input += size;
    } else if ((control & 3) == 3) { // and something in its way
        s_obstacle = static_cast<obstacle>(how % static_cast<uint8_t>(obstacle::count));
        reply.resize(reply.size() - std::min<size_t>(reply.size(), next_byte() % 8));
    }
    s_incoming.insert(s_incoming.end(), reply.begin(), reply.end());
}

/// What has to come of a read of `count` registers, given what comes.
void expect(uint16_t transaction, size_t count) {
    std::array<uint8_t, k_at_values> beginning = {};
    put_be16(&beginning[k_mbap_at_transaction], transaction);
    put_be16(&beginning[k_mbap_at_length], static_cast<uint16_t>(3 + 2 * count));
    beginning[k_mbap_at_unit] = k_mbap_own_unit;
    beginning[k_mbap_at_pdu] = 4;
    beginning[k_mbap_at_pdu + 1] = static_cast<uint8_t>(2 * count);
    const bool comes = s_obstacle == obstacle::none || s_obstacle == obstacle::interrupted ||
                       s_obstacle == obstacle::not_ready;
    s_right = comes && s_incoming.size() >= k_at_values + 2 * count &&
              std::equal(beginning.begin(), beginning.end(), s_incoming.begin());
    s_expected.clear();
    for (size_t i = 0; s_right && i < count; i++) {
        s_expected.push_back(get_be16(&s_incoming[k_at_values + 2 * i]));
    }
}

bool is_plain(char c) { return c >= ' ' && c <= '~'; }

void check_text(std::string_view text) {
    require(!text.empty() && text.back() == '\n');
    while (!text.empty()) {
        const std::string_view line = text.substr(0, text.find('\n'));
        require(line.size() <= k_columns && std::all_of(line.begin(), line.end(), is_plain));
        text.remove_prefix(line.size() + 1);
    }
}

void show(const mb_image &image, const mb_image *before) {
    const mb_report report = {"192.0.2.1", 502, &image, before};
    check_text(mb_report_text(report));
    const std::string json = mb_report_json(report, -1);
    require(std::all_of(json.begin(), json.end(), is_plain));
}

void read_and_show(mb_client &client) {
    mb_image first;
    mb_image second;
    if (mb_image_read(client, first)) {
        s_seconds++;
        const bool again = mb_image_read(client, second);
        show(again ? second : first, again ? &first : nullptr);
    }
}

/// Reads without a map, which many more can be made of.
void read_some(mb_client &client) {
    std::array<uint16_t, k_count_max> values = {};
    const auto read = [&] {
        const uint16_t count = next_byte() % k_count_max + 1;
        return mb_client_read_input(client, 1, std::span(values).first(count));
    };
    while (s_input < s_end && read()) {
    }
}

} // namespace

extern "C" {

ssize_t __real_send(int fd, const void *bytes, size_t size, int flags);
ssize_t __wrap_send(int fd, const void *bytes, size_t size, int flags) {
    if (fd != k_fd) {
        return __real_send(fd, bytes, size, flags);
    }
    require(s_open && size == k_request_size);
    const auto *const request = static_cast<const uint8_t *>(bytes);
    answer(request);
    expect(get_be16(request), get_be16(request + 10));
    return static_cast<ssize_t>(size);
}

ssize_t __real_recv(int fd, void *buffer, size_t size, int flags);
ssize_t __wrap_recv(int fd, void *buffer, size_t size, int flags) {
    if (fd != k_fd) {
        return __real_recv(fd, buffer, size, flags);
    }
    require(s_open && size > 0);
    const obstacle met = s_obstacle;
    if (met == obstacle::interrupted || met == obstacle::not_ready) {
        s_obstacle = obstacle::none;
        errno = met == obstacle::interrupted ? EINTR : EAGAIN;
        return -1;
    }
    if (met == obstacle::reset) {
        errno = ECONNRESET;
        return -1;
    }
    if (met == obstacle::end || s_incoming.empty()) {
        return 0;
    }
    const size_t count = std::min({size, s_piece, s_incoming.size()});
    std::copy_n(s_incoming.begin(), count, static_cast<uint8_t *>(buffer));
    s_incoming.erase(s_incoming.begin(), s_incoming.begin() + static_cast<ptrdiff_t>(count));
    return static_cast<ssize_t>(count);
}

int __wrap_poll(pollfd *entries, nfds_t count, int limit_ms) {
    require(s_open && count == 1 && entries->fd == k_fd && limit_ms > 0);
    if (s_obstacle == obstacle::silence) {
        s_seconds += k_patience_s;
        return 0;
    }
    entries->revents = entries->events;
    return 1;
}

int __real_close(int fd);
int __wrap_close(int fd) {
    if (fd != k_fd) {
        return __real_close(fd);
    }
    require(s_open);
    s_open = false;
    return 0;
}

int __wrap_clock_gettime(clockid_t /*clock*/, timespec *now) {
    *now = {static_cast<time_t>(s_seconds), 0};
    return 0;
}

bool __real__Z20mb_client_read_inputR9mb_clienttSt4spanItLm18446744073709551615EE(mb_client &client,
                                                                                  uint16_t number,
                                                                                  std::span<uint16_t> values);
bool __wrap__Z20mb_client_read_inputR9mb_clienttSt4spanItLm18446744073709551615EE(
    mb_client &client, uint16_t number, std::span<uint16_t> values) {
    const bool good =
        __real__Z20mb_client_read_inputR9mb_clienttSt4spanItLm18446744073709551615EE(client, number, values);
    require(good == s_right && s_open == good && client.error.empty() == good);
    require(!good || std::equal(values.begin(), values.end(), s_expected.begin(), s_expected.end()));
    return good;
}

int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    s_input = data;
    s_end = data + size;
    s_state = next_byte();
    s_small = (s_state & 1) != 0;
    s_incoming.clear();
    s_open = true;
    mb_client client;
    client.socket = unique_fd(k_fd);
    const std::string_view text(reinterpret_cast<const char *>(data), size);
    if (text.starts_with(k_show) && size == k_show.size() + 1) {
        s_state = data[k_show.size()];
        s_small = (s_state & 1) != 0;
        s_input = s_end;
        read_and_show(client);
    } else {
        read_some(client);
    }
    client.socket.reset();
    require(!s_open);
    return 0;
}
}
