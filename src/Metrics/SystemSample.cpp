#include "KestrelCore/Metrics/SystemSample.hpp"

#include "KestrelCore/JSON/CodingErrors.hpp"
#include "JSON/JSONFields.hpp"
#include "JSON/MemberWriter.hpp"
#include "JSON/WholeObject.hpp"

#include <algorithm>
#include <array>

namespace KestrelCore {
namespace {

constexpr std::array<std::string_view, 5> thermalNames{"nominal", "fair", "serious", "critical", "unknown"};

using namespace JSONFields;

struct SampleFields {
    Field<double> timestamp;
    Field<double> cpuUsedFraction;
    Field<std::int64_t> memoryUsedBytes;
    Field<std::int64_t> memoryTotalBytes;
    Field<std::int64_t> swapUsedBytes;
    Field<std::string_view> memoryPressure;
    Field<double> batteryPercent;
    Field<bool> isCharging;
    Field<std::string_view> thermalLevel;
    Field<std::int64_t> networkDownBytesPerSecond;
    Field<std::int64_t> networkUpBytesPerSecond;

    bool readMember(std::string_view key, json::value value) {
        if (key == "timestamp") return readFirst(value, timestamp);
        if (key == "cpuUsedFraction") return readFirst(value, cpuUsedFraction);
        if (key == "memoryUsedBytes") return readFirst(value, memoryUsedBytes);
        if (key == "memoryTotalBytes") return readFirst(value, memoryTotalBytes);
        if (key == "swapUsedBytes") return readFirst(value, swapUsedBytes);
        if (key == "memoryPressure") return readFirst(value, memoryPressure);
        if (key == "batteryPercent") return readFirst(value, batteryPercent);
        if (key == "isCharging") return readFirst(value, isCharging);
        if (key == "thermalLevel") return readFirst(value, thermalLevel);
        if (key == "networkDownBytesPerSecond") return readFirst(value, networkDownBytesPerSecond);
        return key == "networkUpBytesPerSecond" && readFirst(value, networkUpBytesPerSecond);
    }

    [[nodiscard]] SystemSample sample() const {
        const auto level = fromRawValue<ThermalLevel>(thermalLevel.value);
        Requirements wants{""};
        wants.required("timestamp", timestamp)
            .required("cpuUsedFraction", cpuUsedFraction)
            .required("memoryUsedBytes", memoryUsedBytes)
            .required("memoryTotalBytes", memoryTotalBytes)
            .required("swapUsedBytes", swapUsedBytes)
            .required("memoryPressure", memoryPressure)
            .optional("batteryPercent", batteryPercent)
            .optional("isCharging", isCharging)
            .required("thermalLevel", thermalLevel)
            .holds("thermalLevel", level.has_value())
            .required("networkDownBytesPerSecond", networkDownBytesPerSecond)
            .required("networkUpBytesPerSecond", networkUpBytesPerSecond);
        if (wants.error()) throw DecodingError{*wants.error()};
        return {.timestamp = Date{timestamp.value},
                .cpuUsedFraction = cpuUsedFraction.value,
                .memoryUsedBytes = memoryUsedBytes.value,
                .memoryTotalBytes = memoryTotalBytes.value,
                .swapUsedBytes = swapUsedBytes.value,
                .memoryPressure = Text{memoryPressure.value},
                .batteryPercent = batteryPercent.optional(),
                .isCharging = isCharging.optional(),
                .thermalLevel = *level,
                .networkDownBytesPerSecond = networkDownBytesPerSecond.value,
                .networkUpBytesPerSecond = networkUpBytesPerSecond.value};
    }
};

}  // namespace

std::string_view rawValue(ThermalLevel level) { return thermalNames[static_cast<std::size_t>(level)]; }

template <>
std::optional<ThermalLevel> fromRawValue<ThermalLevel>(std::string_view rawValue) {
    const auto name = std::ranges::find(thermalNames, rawValue);
    if (name == thermalNames.end()) return std::nullopt;
    return static_cast<ThermalLevel>(name - thermalNames.begin());
}

std::string SystemSample::encodedJSON() const {
    std::string out{"{"};
    MemberWriter writer{out};
    writer.member("timestamp", timestamp.secondsSinceReferenceDate);
    writer.member("cpuUsedFraction", cpuUsedFraction);
    writer.member("memoryUsedBytes", memoryUsedBytes);
    writer.member("memoryTotalBytes", memoryTotalBytes);
    writer.member("swapUsedBytes", swapUsedBytes);
    writer.member("memoryPressure", memoryPressure.view());
    writer.member("batteryPercent", batteryPercent);
    writer.member("isCharging", isCharging);
    writer.member("thermalLevel", rawValue(thermalLevel));
    writer.member("networkDownBytesPerSecond", networkDownBytesPerSecond);
    writer.member("networkUpBytesPerSecond", networkUpBytesPerSecond);
    out += '}';
    return out;
}

SystemSample SystemSample::decodingJSON(std::string_view json) {
    checkWholeObject(json);
    SampleFields fields;
    std::optional<SystemSample> sample;
    TextReader{}.value(json, "", [&](json::value& value) {
        readMembers(value.get_object(), "",
                    [&](std::string_view key, json::value member) { return fields.readMember(key, member); });
        // Made here: the fields' texts are the reader's.
        sample = fields.sample();
    });
    return *sample;
}

}  // namespace KestrelCore
