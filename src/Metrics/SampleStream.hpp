#pragma once

#include "KestrelCore/Base/EventStream.hpp"
#include "Metrics/SystemMetricsRules.hpp"

#include <memory>
#include <utility>

namespace KestrelCore {

/// Samples, yields and sleeps until the consumer is gone. `State` has `sample()` and `clock()`; it is kept alive.
template <typename Sample, typename State>
EventStream<Sample> streamOf(std::shared_ptr<State> state, Seconds interval) {
    return EventStream<Sample>::start(
        [state = std::move(state), pause = sleepBetweenSamples(interval)](const auto& continuation) {
            while (!continuation.cancellation().isCancelled()) {
                continuation.yield(state->sample());
                state->clock().sleep(pause, continuation.cancellation());
            }
        });
}

}  // namespace KestrelCore
