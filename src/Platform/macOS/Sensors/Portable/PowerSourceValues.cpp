#include "Platform/macOS/Sensors/Portable/PowerSourceValues.hpp"

namespace KestrelCore {
namespace {

std::optional<PowerSourceState> stateNamed(std::optional<std::string_view> word) {
    if (word == "AC Power") return PowerSourceState::mains;
    if (word == "Battery Power") return PowerSourceState::battery;
    if (word == "Off Line") return PowerSourceState::offline;
    return std::nullopt;
}

}  // namespace

PowerSource powerSourceOf(std::optional<double> currentCapacity, std::optional<double> maximumCapacity,
                          std::optional<std::string_view> state) {
    return {.currentCapacity = currentCapacity, .maximumCapacity = maximumCapacity, .state = stateNamed(state)};
}

}  // namespace KestrelCore
