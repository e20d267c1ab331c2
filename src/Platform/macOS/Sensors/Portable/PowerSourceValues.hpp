#pragma once

#include "Platform/PowerSources.hpp"

#include <optional>
#include <string_view>

namespace KestrelCore {

/// The keys of a power source's description, as the system spells them.
struct PowerSourceKeys {
    static constexpr const char* currentCapacity = "Current Capacity";
    static constexpr const char* maximumCapacity = "Max Capacity";
    static constexpr const char* state = "Power Source State";
};

/// A power source out of the values of its description. A state that is none of the system's words, or is missing, is
/// absent.
[[nodiscard]] PowerSource powerSourceOf(std::optional<double> currentCapacity, std::optional<double> maximumCapacity,
                                        std::optional<std::string_view> state);

}  // namespace KestrelCore
