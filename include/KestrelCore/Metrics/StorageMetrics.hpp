#pragma once

#include "KestrelCore/Base/EventStream.hpp"
#include "KestrelCore/Export.hpp"
#include "KestrelCore/Metrics/StorageSample.hpp"

#include <chrono>
#include <memory>

namespace KestrelCore {

/// Reads the volumes and disks. Rates are since the sampler's previous reading, whoever asked for that one; the first
/// reading has zeros for them. Calls from any thread run one at a time.
class KESTRELCORE_EXPORT StorageSampler {
public:
    StorageSampler();
    StorageSampler(const StorageSampler&) = delete;
    StorageSampler& operator=(const StorageSampler&) = delete;
    ~StorageSampler();

    /// Never fails: what the system does not give is left out.
    [[nodiscard]] StorageSample sample();

    /// As `SystemMetricsSampler::stream`.
    [[nodiscard]] EventStream<StorageSample> stream(std::chrono::duration<double> interval);

private:
    friend struct SamplerAccess;
    struct State;
    explicit StorageSampler(std::shared_ptr<State> state);

    std::shared_ptr<State> state_;
};

}  // namespace KestrelCore
