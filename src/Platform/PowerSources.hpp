#pragma once

#include <memory>
#include <optional>

namespace KestrelCore {

/// Where a power source takes its energy from now.
enum class PowerSourceState {
    mains,    ///< the system's "AC Power": plugged in, charging or full
    battery,  ///< on its own charge
    offline   ///< neither
};

/// What the system says about one power source of the machine itself (not of a mouse or a headset).
struct PowerSource {
    std::optional<double> currentCapacity{};  ///< in the unit of `maximumCapacity`, whatever that is
    std::optional<double> maximumCapacity{};
    std::optional<PowerSourceState> state{};
};

/// The batteries of the machine, asked afresh each time: one may be taken out, a supply plugged in. One thread at a
/// time.
class PowerSources {
public:
    virtual ~PowerSources() = default;

    /// The first power source in the system's order; absent on a machine without a battery.
    [[nodiscard]] virtual std::optional<PowerSource> first() = 0;

    [[nodiscard]] static std::unique_ptr<PowerSources> system();
};

}  // namespace KestrelCore
