#pragma once

#include "Platform/HostStatistics.hpp"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace KestrelCore {

/// One temperature, in degrees Celsius.
struct Temperature {
    std::string name;  ///< in the system's words
    double celsius = 0;
};

/// The part of the last ten seconds in which something waited, in percent.
struct StallPercents {
    double processor = 0;
    double memory = 0;
    double disk = 0;
};

/// What the machine tells about itself beyond `HostStatistics`. One thread at a time.
class SystemSensors {
public:
    virtual ~SystemSensors() = default;

    /// Of each processor that runs, in the system's order; empty when the system does not tell.
    [[nodiscard]] virtual std::vector<ProcessorTicks> processors() = 0;
    /// Absent where the system keeps no such account.
    [[nodiscard]] virtual std::optional<StallPercents> stalls() = 0;
    /// At most 32, in the system's order.
    [[nodiscard]] virtual std::vector<Temperature> temperatures() = 0;

    [[nodiscard]] static std::unique_ptr<SystemSensors> system();
};

}  // namespace KestrelCore
