#include "sim/flash.h"

#include "sim/device.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <vector>

bool sim_flash_write(const sim_state &state, const char *partition, size_t size, std::FILE *to) {
    const bool is_tailer = std::strcmp(partition, "mtd1") == 0;
    std::array<uint8_t, k_sim_flash_size> bytes = {};
    const int32_t held = is_tailer                             ? sim_tailer_flash(state, bytes)
                         : std::strcmp(partition, "mtd4") == 0 ? sim_header_flash(state, bytes)
                                                               : -1;
    if (held < 0 || size < static_cast<size_t>(held)) {
        errno = EINVAL;
        return false;
    }
    std::vector<uint8_t> image(size, 0xFF);
    std::copy_n(bytes.begin(), held, is_tailer ? image.end() - held : image.begin());
    return std::fwrite(image.data(), 1, image.size(), to) == image.size() && std::fflush(to) == 0;
}
