#pragma once

#include "Platform/PowerSources.hpp"

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

// What the sensors below /sys/class say, read by nobody here: each function takes the texts of the attributes, without
// regard to blanks and newlines around them. An attribute that can't be read is the empty text.

namespace KestrelCore::SensorText {

/// The attributes of one folder in /sys/class/power_supply.
struct PowerSupply {
    std::string_view type{};  ///< "Battery", "Mains", "USB" …
    std::string_view scope{};
    std::string_view present{};
    std::string_view status{};
    std::string_view online{};
    std::string_view energyNow{};
    std::string_view energyFull{};
    std::string_view chargeNow{};
    std::string_view chargeFull{};
    std::string_view capacity{};  ///< percent
};

/// The first battery of the machine itself in the order given, with its state from the other supplies. Absent when
/// there is none.
[[nodiscard]] std::optional<PowerSource> firstPowerSource(std::span<const PowerSupply> supplies);

struct TripPoint {
    std::string_view type{};         ///< "critical", "hot", "passive", "active"
    std::string_view temperature{};  ///< thousandths of a degree Celsius
};

/// The attributes of one folder in /sys/class/thermal.
struct ThermalZone {
    std::string_view temperature{};  ///< thousandths of a degree Celsius
    std::vector<TripPoint> tripPoints{};
};

/// The level of the worst zone, 0 to 3. Absent when no zone has both a temperature and a trip point to hold it against.
[[nodiscard]] std::optional<int> thermalLevel(std::span<const ThermalZone> zones);

/// A temperature in degrees Celsius out of thousandths. Absent for what is no number or no temperature: below absolute
/// zero, or above 1000.
[[nodiscard]] std::optional<double> celsius(std::string_view text);

/// What a sensor is called: its driver's name and its own label, as far as there are any.
[[nodiscard]] std::string sensorName(std::string_view driver, std::string_view label);

/// Out of one file of /proc/pressure: the percent of the last ten seconds in which some task waited, 0 to 100.
[[nodiscard]] std::optional<double> stallPercent(std::string_view text);

}  // namespace KestrelCore::SensorText
