#include "modbus/mbident.h"

#include "lib/base/bytes.h"
#include "lib/base/plain_file.h"
#include "lib/base/result.h"
#include "lib/base/retry.h"
#include "lib/base/unique_fd.h"
#include "lib/sasi/sasi.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

// Boot-loader tailer: the last bytes of its partition.
constexpr const char *k_tailer_path = "/dev/mtd1";
constexpr size_t k_tailer_size = 112;
constexpr size_t k_at_tailer_words_a = 24;
constexpr size_t k_at_tailer_words_b = 56;
// Firmware header: the first bytes of its partition.
constexpr const char *k_header_path = "/dev/mtd4";
constexpr size_t k_header_size = 152;
constexpr size_t k_at_header_words_a = 84;
constexpr size_t k_at_header_words_b = 108;

constexpr const char *k_printenv = "/usr/sbin/fw_printenv";
constexpr const char *k_printenv_arguments = "serial# >";
constexpr const char *k_serial_path = "/var/tmp/ethaddr.txt";
constexpr size_t k_serial_line_size = 25; // with the terminator
constexpr size_t k_at_serial_value = 8;   // after "serial#="

constexpr const char *k_mac_interface = "tap0";

mb_identity s_identity = {};

// An unnamed file whose record lock the connection children take turns by: they all fetch the serial number
// through one file name. -1 (before mb_init, or when it could not be made): no turns are taken.
int s_serial_lock = -1;

/// Reads exactly `bytes.size()` bytes from a place in a file. Returns 0, or -1 on any failure.
int32_t read_at(const char *path, off_t offset, int whence, std::span<uint8_t> bytes) {
    const unique_fd file(::open(path, O_RDONLY | O_CLOEXEC));
    if (!file.valid() || ::lseek(file.get(), offset, whence) < 0) {
        return -1;
    }
    size_t done = 0;
    while (done < bytes.size()) {
        const ssize_t got =
            retry_interrupted([&] { return ::read(file.get(), bytes.data() + done, bytes.size() - done); });
        if (got <= 0) {
            return -1;
        }
        done += static_cast<size_t>(got);
    }
    return 0;
}

template<size_t N> void fill_words(std::array<uint16_t, N> &words, const uint8_t *bytes) {
    for (size_t i = 0; i < N; i++) {
        words[i] = get_be16(bytes + 2 * i);
    }
}

void load_tailer() {
    std::array<uint8_t, k_tailer_size> tailer = {};
    if (read_at(k_tailer_path, -static_cast<off_t>(k_tailer_size), SEEK_END, tailer) != 0) {
        std::fprintf(stderr, "%s: can't get u-boot tailer!\r\n", "mb_init");
        return;
    }
    fill_words(s_identity.tailer_words_a, &tailer[k_at_tailer_words_a]);
    fill_words(s_identity.tailer_words_b, &tailer[k_at_tailer_words_b]);
}

void load_header() {
    std::array<uint8_t, k_header_size> header = {};
    if (read_at(k_header_path, 0, SEEK_SET, header) != 0) {
        std::fprintf(stderr, "%s: can't get FW header!\r\n", "mb_init");
        return;
    }
    fill_words(s_identity.firmware_words_a, &header[k_at_header_words_a]);
    fill_words(s_identity.firmware_words_b, &header[k_at_header_words_b]);
}

void run_shell(const char *first, const char *second, const char *third) {
    std::array<char, 128> command = {};
    std::snprintf(command.data(), command.size(), "%s %s %s", first, second, third);
    ignore_result(std::system(command.data())); // what it did shows in the file
}

/// Opens the file the serial number was written to.
std::FILE *open_serial_file() {
    plain_file found = plain_file_open(k_serial_path, O_RDONLY);
    std::FILE *file = found.fd.valid() ? ::fdopen(found.fd.get(), "r") : nullptr;
    if (file != nullptr) {
        found.fd.release();
    }
    return file;
}

void take_serial_line(std::FILE *file) {
    std::array<char, k_serial_line_size> line = {};
    if (std::fgets(line.data(), line.size(), file) == nullptr) {
        return;
    }
    const size_t length = std::strcspn(line.data(), "\n");
    if (length <= k_at_serial_value) {
        return;
    }
    const size_t count = std::min(length - k_at_serial_value, s_identity.serial_number.size());
    s_identity.serial_number.fill(0);
    std::copy_n(line.begin() + k_at_serial_value, count, s_identity.serial_number.begin());
}

/// A file without a name, which nobody can get in the way of: in memory, or on an old kernel in /var/tmp.
void make_serial_lock() {
    if (s_serial_lock != -1) {
        return;
    }
    s_serial_lock = ::memfd_create("serial-lock", MFD_CLOEXEC);
    if (s_serial_lock != -1) {
        return;
    }
    char path[] = "/var/tmp/serial-lock-XXXXXX";
    s_serial_lock = ::mkostemp(path, O_CLOEXEC);
    if (s_serial_lock != -1) {
        ::unlink(path);
    }
}

} // namespace

int32_t mb_init() {
    load_tailer();
    load_header();
    s_identity.serial_number.fill(0);
    make_serial_lock();
    if (sasiOpen() <= 0) {
        std::printf("sasiOpen() ERROR!!\n");
        std::fflush(stdout); // where it goes to a file, nothing else may follow for long
    }
    return 0;
}

const mb_identity &mb_get_identity() { return s_identity; }

void mb_fetch_serial_number() {
    ignore_result(
        ::lockf(s_serial_lock, F_LOCK, 0)); // without the lock the fetch still works, only not in turns
    ::unlink(k_serial_path);                // what lies there now is not ours
    run_shell(k_printenv, k_printenv_arguments, k_serial_path);
    std::FILE *file = open_serial_file();
    if (file != nullptr) {
        take_serial_line(file);
        std::fclose(file);
        run_shell("rm", "-f", k_serial_path);
    }
    ignore_result(::lockf(s_serial_lock, F_ULOCK, 0));
}

void mb_framer_get_eth0_mac(std::span<uint8_t, 6> mac) {
    std::fill(mac.begin(), mac.end(), uint8_t{0});
    const unique_fd socket(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    if (!socket.valid()) {
        std::printf("%s: socket error!!\n", "mb_framer_get_eth0_mac");
        return;
    }
    ifreq query = {};
    std::strncpy(query.ifr_name, k_mac_interface, sizeof query.ifr_name - 1);
    // Without the interface the zeros of the query are the answer.
    ignore_result(::ioctl(socket.get(), SIOCGIFHWADDR, &query));
    std::copy_n(reinterpret_cast<const uint8_t *>(query.ifr_hwaddr.sa_data), mac.size(), mac.begin());
}
