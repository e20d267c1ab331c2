#include "KestrelCore/Metrics/ProcessDescription.hpp"

#include "Base/SerialExecutor.hpp"
#include "Metrics/ByteRates.hpp"
#include "Metrics/SystemMetricsSources.hpp"

#include <algorithm>
#include <limits>
#include <utility>

namespace KestrelCore {
namespace {

std::int64_t asSigned(std::uint64_t value) {
    constexpr auto largest = static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
    return static_cast<std::int64_t>(std::min(value, largest));
}

}  // namespace

ProcessInspectorSources ProcessInspectorSources::system() {
    return {.descriptions = ProcessDescriptions::system(), .clock = ContinuousClock::system()};
}

struct ProcessInspector::State {
    explicit State(ProcessInspectorSources given) : sources{std::move(given)} {}

    std::vector<ProcessDescription> describe(std::span<const std::int32_t> identifiers) {
        return executor.run([&] { return isolatedDescriptions(identifiers); });
    }

private:
    std::vector<ProcessDescription> isolatedDescriptions(std::span<const std::int32_t> identifiers) {
        executor.assertIsolated("KestrelCore/ProcessDescription");
        std::vector<ProcessDescription> result;
        result.reserve(identifiers.size());
        rates.begin(sources.clock->now());
        for (const std::int32_t identifier : identifiers) {
            auto facts = sources.descriptions->facts(identifier);
            if (!facts) continue;
            ProcessDescription& added = result.emplace_back();
            added.id = identifier;
            added.parentId = facts->parentIdentifier;
            added.user = std::move(facts->user);
            added.commandLine = std::move(facts->commandLine);
            if (facts->startedSince1970) added.startedAt = Date::since1970(*facts->startedSince1970);
            added.isKernelThread = facts->isKernelThread;
            added.isFrozen = facts->isFrozen;
            if (!facts->traffic) continue;
            const ByteRate rate = rates.rate(identifier, facts->traffic->readBytes, facts->traffic->writtenBytes);
            added.readBytes = asSigned(facts->traffic->readBytes);
            added.writtenBytes = asSigned(facts->traffic->writtenBytes);
            added.readBytesPerSecond = rate.inward;
            added.writtenBytesPerSecond = rate.outward;
        }
        return result;
    }

    SerialExecutor executor;
    // Everything below is used inside the executor only.
    ProcessInspectorSources sources;
    ByteRates<std::int32_t> rates;
};

ProcessInspector SamplerAccess::inspector(ProcessInspectorSources sources) {
    return ProcessInspector{std::make_shared<ProcessInspector::State>(std::move(sources))};
}

ProcessInspector::ProcessInspector() : state_{std::make_shared<State>(ProcessInspectorSources::system())} {}
ProcessInspector::ProcessInspector(std::shared_ptr<State> state) : state_{std::move(state)} {}
ProcessInspector::~ProcessInspector() = default;

std::vector<ProcessDescription> ProcessInspector::describe(std::span<const std::int32_t> identifiers) {
    return state_->describe(identifiers);
}

}  // namespace KestrelCore
