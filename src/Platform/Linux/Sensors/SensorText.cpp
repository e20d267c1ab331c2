#include "Platform/Linux/Sensors/SensorText.hpp"

#include "Platform/Linux/TextFields.hpp"

#include <algorithm>
#include <charconv>
#include <system_error>
#include <utility>

namespace KestrelCore::SensorText {
namespace {

std::string_view trimmed(std::string_view text) {
    constexpr std::string_view blanks = " \t\r\n";
    const std::size_t begin = text.find_first_not_of(blanks);
    if (begin == std::string_view::npos) return {};
    return text.substr(begin, text.find_last_not_of(blanks) - begin + 1);
}

std::optional<std::int64_t> number(std::string_view text) {
    return TextFields::wholeNumber<std::int64_t>(trimmed(text));
}

/// Whether it is the battery that this machine runs on.
bool isOwnBattery(const PowerSupply& supply) {
    // A mouse or a headset says that its battery is the device's, and an empty bay that nothing is present.
    return trimmed(supply.type) == "Battery" && trimmed(supply.scope) != "Device" && trimmed(supply.present) != "0";
}

bool feedsTheMachine(const PowerSupply& supply) {
    const std::string_view type = trimmed(supply.type);
    return (type == "Mains" || type == "USB") && trimmed(supply.scope) != "Device";
}

/// Energy and charge are in units of their own, but each pair has one, which is all a ratio needs.
std::pair<std::optional<double>, std::optional<double>> capacities(const PowerSupply& battery) {
    for (const auto& [now, full] :
         {std::pair{battery.energyNow, battery.energyFull}, std::pair{battery.chargeNow, battery.chargeFull}}) {
        const auto nowValue = number(now);
        const auto fullValue = number(full);
        if (nowValue && fullValue) return {static_cast<double>(*nowValue), static_cast<double>(*fullValue)};
    }
    if (const auto percent = number(battery.capacity)) return {static_cast<double>(*percent), 100.0};
    return {};
}

PowerSourceState stateOf(const PowerSupply& battery, std::span<const PowerSupply> supplies) {
    bool isMains = false;
    // A charger knows best whether it is plugged in. Without one that tells, the battery says whether it loses charge.
    if (std::ranges::any_of(supplies, feedsTheMachine)) {
        isMains = std::ranges::any_of(supplies, [](const PowerSupply& supply) {
            // Some chargers say 2 for "online with a fixed voltage".
            return feedsTheMachine(supply) && number(supply.online).value_or(0) > 0;
        });
    } else {
        isMains = trimmed(battery.status) != "Discharging";
    }
    return isMains ? PowerSourceState::mains : PowerSourceState::battery;
}

}  // namespace

std::optional<PowerSource> firstPowerSource(std::span<const PowerSupply> supplies) {
    const auto battery = std::ranges::find_if(supplies, isOwnBattery);
    if (battery == supplies.end()) return std::nullopt;
    const auto [current, maximum] = capacities(*battery);
    return PowerSource{.currentCapacity = current, .maximumCapacity = maximum, .state = stateOf(*battery, supplies)};
}

// A zone says at which temperatures the system does something about it: turns fans on, slows down, switches off. How
// warm a processor may be differs between machines; these points are the machine's own opinion.
std::optional<int> thermalLevel(std::span<const ThermalZone> zones) {
    std::optional<int> worst;
    for (const ThermalZone& zone : zones) {
        const auto temperature = number(zone.temperature);
        if (!temperature) continue;
        for (const TripPoint& point : zone.tripPoints) {
            const auto limit = number(point.temperature);
            // Firmware that does not use a trip point leaves it at zero, or below absolute zero.
            if (!limit || *limit <= 0) continue;
            const std::string_view type = trimmed(point.type);
            const int level = type == "critical" || type == "hot" ? 3
                              : type == "passive"                 ? 2
                              : type == "active"                  ? 1
                                                                  : 0;
            if (level == 0) continue;
            worst = std::max(worst.value_or(0), *temperature >= *limit ? level : 0);
        }
    }
    return worst;
}

std::optional<double> celsius(std::string_view text) {
    const auto thousandths = number(text);
    if (!thousandths || *thousandths < -273'150 || *thousandths > 1'000'000) return std::nullopt;
    return static_cast<double>(*thousandths) / 1000;
}

std::string sensorName(std::string_view driver, std::string_view label) {
    std::string name{trimmed(driver)};
    if (!name.empty() && !trimmed(label).empty()) name += ' ';
    name += trimmed(label);
    return name.empty() ? "sensor" : name;
}

std::optional<double> stallPercent(std::string_view text) {
    constexpr std::string_view key = "avg10=";
    TextFields fields{TextFields{text}.line()};
    if (fields.word() != "some") return std::nullopt;
    const std::string_view value = fields.word();
    if (!value.starts_with(key)) return std::nullopt;
    double percent = 0;
    const char* const end = value.data() + value.size();
    const auto [rest, error] = std::from_chars(value.data() + key.size(), end, percent, std::chars_format::fixed);
    if (error != std::errc{} || rest != end || !(percent >= 0 && percent <= 100)) return std::nullopt;
    return percent;
}

}  // namespace KestrelCore::SensorText
