#include "KestrelCore/Metrics/SystemDetails.hpp"

#include "Base/SerialExecutor.hpp"
#include "Metrics/ByteRates.hpp"
#include "Metrics/SampleStream.hpp"
#include "Metrics/SystemMetricsSources.hpp"

#include <algorithm>
#include <set>
#include <utility>

namespace KestrelCore {
namespace {

/// Percents as parts of 1, brought within 0 and 1.
std::optional<PressureSample> pressureSample(const std::optional<StallPercents>& stalls) {
    if (!stalls) return std::nullopt;
    const auto fraction = [](double percent) { return percent > 0 ? std::min(percent, 100.0) / 100 : 0; };
    return PressureSample{fraction(stalls->processor), fraction(stalls->memory), fraction(stalls->disk)};
}

}  // namespace

SystemDetailsSources SystemDetailsSources::system() {
    return {.sensors = SystemSensors::system(),
            .networkInterfaces = NetworkInterfaces::system(),
            .clock = ContinuousClock::system()};
}

struct SystemDetailsSampler::State {
    explicit State(SystemDetailsSources given) : sources{std::move(given)} {}

    SystemDetails sample() {
        return executor.run([this] { return isolatedSample(); });
    }

    [[nodiscard]] const ContinuousClock& clock() const { return *sources.clock; }

private:
    SystemDetails isolatedSample() {
        executor.assertIsolated("KestrelCore/SystemDetails");
        SystemDetails details;
        rates.begin(sources.clock->now());
        std::vector<ProcessorLoad> loads;
        for (const ProcessorTicks& ticks : sources.sensors->processors()) loads.push_back(processorLoad(ticks));
        for (std::size_t index = 0; index < loads.size(); ++index) {
            // Processors are told apart by their place alone. When one is switched off or on, all begin anew.
            details.processorUsedFractions.push_back(
                loads.size() == previous.size() ? usedFraction(previous[index], loads[index]) : 0);
        }
        previous = std::move(loads);

        details.pressure = pressureSample(sources.sensors->stalls());
        sources.networkInterfaces->list(interfaces);
        std::set<std::string_view> seen;
        for (const InterfaceCounters& interface : interfaces) {
            // A name that the system lists twice counts once, with its first line.
            if (interface.isLoopback || !seen.insert(interface.name).second) continue;
            const ByteRate rate = rates.rate(interface.name, interface.receivedBytes, interface.sentBytes);
            details.interfaces.push_back({Text{interface.name}, rate.inward, rate.outward});
        }
        for (const Temperature& temperature : sources.sensors->temperatures()) {
            details.temperatures.push_back({Text{temperature.name}, temperature.celsius});
        }
        return details;
    }

    SerialExecutor executor;
    // Everything below is used inside the executor only, but for the clock.
    SystemDetailsSources sources;
    ByteRates<std::string> rates;
    std::vector<ProcessorLoad> previous;
    std::vector<InterfaceCounters> interfaces;
};

SystemDetailsSampler SamplerAccess::sampler(SystemDetailsSources sources) {
    return SystemDetailsSampler{std::make_shared<SystemDetailsSampler::State>(std::move(sources))};
}

SystemDetailsSampler::SystemDetailsSampler() : state_{std::make_shared<State>(SystemDetailsSources::system())} {}
SystemDetailsSampler::SystemDetailsSampler(std::shared_ptr<State> state) : state_{std::move(state)} {}
SystemDetailsSampler::~SystemDetailsSampler() = default;

SystemDetails SystemDetailsSampler::sample() { return state_->sample(); }

EventStream<SystemDetails> SystemDetailsSampler::stream(std::chrono::duration<double> interval) {
    return streamOf<SystemDetails>(state_, interval);
}

}  // namespace KestrelCore
