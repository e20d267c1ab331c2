#pragma once

#include "KestrelCore/Base/EventStream.hpp"
#include "KestrelCore/Base/Text.hpp"
#include "KestrelCore/Export.hpp"

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

namespace KestrelCore {

/// One network interface, the loopback ones left out.
struct KESTRELCORE_EXPORT InterfaceSample {
    Text name{};
    std::int64_t downBytesPerSecond = 0;  ///< since the sampler's previous reading; 0 at the first sight
    std::int64_t upBytesPerSecond = 0;

    bool operator==(const InterfaceSample&) const = default;
};

/// One temperature that the machine measures.
struct KESTRELCORE_EXPORT TemperatureSample {
    Text name{};         ///< what is measured, in the system's words, such as "coretemp Package id 0"
    double celsius = 0;  ///< finite

    bool operator==(const TemperatureSample&) const = default;
};

/// The part of the last ten seconds in which something had to wait for want of a thing, 0 to 1 each.
struct KESTRELCORE_EXPORT PressureSample {
    double processor = 0;
    double memory = 0;
    double disk = 0;

    bool operator==(const PressureSample&) const = default;
};

/// What stands behind the sums of a `SystemSample`.
struct KESTRELCORE_EXPORT SystemDetails {
    /// 0 to 1 for each processor that runs, in the system's order, since the previous reading; empty when the system
    /// does not tell. A processor has 0 at its first sight.
    std::vector<double> processorUsedFractions{};
    std::optional<PressureSample> pressure{};       ///< absent where the system keeps no such account
    std::vector<InterfaceSample> interfaces{};      ///< in the system's order
    std::vector<TemperatureSample> temperatures{};  ///< at most 32; empty where nothing is measured, as in most virtual
                                                    ///< machines

    bool operator==(const SystemDetails&) const = default;
};

/// Reads the details. Rates are since the sampler's previous reading, whoever asked for that one; the first reading has
/// zeros for them. Calls from any thread run one at a time.
class KESTRELCORE_EXPORT SystemDetailsSampler {
public:
    SystemDetailsSampler();
    SystemDetailsSampler(const SystemDetailsSampler&) = delete;
    SystemDetailsSampler& operator=(const SystemDetailsSampler&) = delete;
    ~SystemDetailsSampler();

    /// Never fails: what the system does not give is absent or left out.
    [[nodiscard]] SystemDetails sample();

    /// As `SystemMetricsSampler::stream`.
    [[nodiscard]] EventStream<SystemDetails> stream(std::chrono::duration<double> interval);

private:
    friend struct SamplerAccess;
    struct State;
    explicit SystemDetailsSampler(std::shared_ptr<State> state);

    std::shared_ptr<State> state_;
};

}  // namespace KestrelCore
