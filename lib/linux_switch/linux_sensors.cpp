#include "lib/linux_switch/linux_sensors.h"

#include "lib/base/folder_handle.h"
#include "lib/base/parse_number.h"
#include "lib/base/retry.h"
#include "lib/base/unique_fd.h"

#include <array>
#include <climits>
#include <fcntl.h>
#include <unistd.h>

namespace {

/// The first line of a file, which is short; nothing when there is none.
std::optional<std::string> read_line(const std::string &path) {
    const unique_fd fd(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    std::array<char, 128> text{};
    const ssize_t length =
        fd.valid() ? retry_interrupted([&] { return ::read(fd.get(), text.data(), text.size()); }) : -1;
    if (length < 0) {
        return std::nullopt;
    }
    const std::string_view all(text.data(), static_cast<size_t>(length));
    return std::string(all.substr(0, all.find('\n')));
}

std::optional<int64_t> read_number(const std::string &path) {
    const std::optional<std::string> line = read_line(path);
    int64_t number = 0;
    if (!line || !parse_number(*line, &number)) {
        return std::nullopt;
    }
    return number;
}

/// The name of the device that a chip belongs to: "0-0040".
std::string device_of(const std::string &chip) {
    std::array<char, PATH_MAX> target{};
    const ssize_t length = ::readlink((chip + "/device").c_str(), target.data(), target.size());
    if (length <= 0) {
        return {};
    }
    const std::string_view path(target.data(), static_cast<size_t>(length));
    return std::string(path.substr(path.rfind('/') + 1)); // all of it when it has no '/'
}

/// The folder of a sensor's chip, whose number changes from start to start; empty when there is none.
std::string chip_folder(const linux_sensor &sensor, const std::string &chips) {
    const folder_handle folder(::opendir(chips.c_str()));
    while (const dirent *const entry = folder == nullptr ? nullptr : ::readdir(folder.get())) {
        std::string path = chips + "/" + static_cast<const char *>(entry->d_name);
        if (read_line(path + "/name") == sensor.chip &&
            (sensor.device.empty() || device_of(path) == sensor.device)) {
            return path;
        }
    }
    return {};
}

/// The given limit, or else what the chip says in one of two files.
std::optional<int64_t> limit(std::optional<int64_t> given, const std::string &feature, const char *first,
                             const char *second) {
    if (!given) {
        given = read_number(feature + first);
    }
    return given ? given : read_number(feature + second);
}

uint32_t read_sensor(const linux_sensor &sensor, const std::string &chips) {
    const std::string folder = chip_folder(sensor, chips);
    const std::string feature = folder + "/" + sensor.feature;
    const std::optional<int64_t> value = folder.empty() ? std::nullopt : read_number(feature + "_input");
    if (!value) {
        return sensor.lost_bits;
    }
    // A temperature has no lower limit: cold raises no alarm.
    const bool is_voltage = sensor.feature.starts_with("in");
    const auto low = is_voltage ? limit(sensor.limits.low, feature, "_min", "_lcrit") : std::nullopt;
    const auto high = limit(sensor.limits.high, feature, "_max", "_crit");
    if (!low && !high) {
        return sensor.lost_bits;
    }
    return (low && *value < *low ? sensor.low_bits : 0) | (high && *value > *high ? sensor.high_bits : 0);
}

} // namespace

uint32_t linux_read_sensors(const linux_config &config, const std::string &sysfs) {
    uint32_t raised = 0;
    for (const linux_supply &supply : config.supplies) {
        const auto online = read_number(sysfs + "/power_supply/" + supply.name + "/online");
        raised |= online.value_or(0) > 0 ? 0 : supply.bits;
    }
    for (const linux_sensor &sensor : config.sensors) {
        raised |= read_sensor(sensor, sysfs + "/hwmon");
    }
    return raised;
}

uint32_t linux_lost_bits(const linux_config &config) {
    uint32_t lost = 0;
    for (const linux_supply &supply : config.supplies) {
        lost |= supply.bits;
    }
    for (const linux_sensor &sensor : config.sensors) {
        lost |= sensor.lost_bits;
    }
    return lost;
}
