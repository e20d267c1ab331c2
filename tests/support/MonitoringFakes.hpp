#pragma once

#include "Metrics/SystemMetricsSources.hpp"

#include <chrono>
#include <condition_variable>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <utility>
#include <vector>

namespace KestrelCore::Testing {

/// A clock that a test moves by hand. A sleep ends when the clock has been moved far enough, or on cancellation, as the
/// contract says. Shared with the sampler's threads.
class ManualClock final : public ContinuousClock {
public:
    [[nodiscard]] std::chrono::nanoseconds now() const override {
        const std::lock_guard guard{mutex_};
        return now_;
    }

    void sleep(std::optional<std::chrono::nanoseconds> duration, const CancellationToken& cancellation) const override {
        const auto registration = cancellation.onCancel([this] {
            const std::lock_guard guard{mutex_};
            changed_.notify_all();
        });
        std::unique_lock lock{mutex_};
        ++sleepCount_;
        lastSleep_ = duration;
        changed_.notify_all();
        const std::chrono::nanoseconds begin = now_;
        changed_.wait(lock, [&] { return cancellation.isCancelled() || (duration && now_ - begin >= *duration); });
        changed_.wait(lock, [&] { return !isHoldingSleepers_; });
        ++wokenCount_;
        changed_.notify_all();
    }

    void advance(std::chrono::nanoseconds by) {
        const std::lock_guard guard{mutex_};
        now_ += by;
        changed_.notify_all();
    }

    /// Blocks until that many sleeps have begun (ended) since the clock was made.
    void waitForSleeps(int count) const {
        std::unique_lock lock{mutex_};
        changed_.wait(lock, [&] { return sleepCount_ >= count; });
    }
    void waitForWakes(int count) const {
        std::unique_lock lock{mutex_};
        changed_.wait(lock, [&] { return wokenCount_ >= count; });
    }
    [[nodiscard]] int wokenCount() const {
        const std::lock_guard guard{mutex_};
        return wokenCount_;
    }
    [[nodiscard]] std::optional<std::chrono::nanoseconds> lastSleep() const {
        const std::lock_guard guard{mutex_};
        return lastSleep_;
    }
    /// While set, a sleep that is over does not return yet, as when the thread gets no processor.
    void holdSleepers(bool isHolding) {
        const std::lock_guard guard{mutex_};
        isHoldingSleepers_ = isHolding;
        changed_.notify_all();
    }

private:
    mutable std::mutex mutex_;
    mutable std::condition_variable changed_;
    mutable int sleepCount_ = 0;
    mutable int wokenCount_ = 0;
    mutable std::optional<std::chrono::nanoseconds> lastSleep_;
    std::chrono::nanoseconds now_{1'000'000'000};
    bool isHoldingSleepers_ = false;
};

/// What a fake machine shows. Tests change it between samples.
struct Machine {
    std::optional<ProcessorTicks> ticks = ProcessorTicks{};
    std::optional<MemoryStatistics> memory = MemoryStatistics{};
    std::int64_t pageBytes = 4096;
    std::int64_t physicalMemoryBytes = 0;
    int processorCount = 4;
    std::vector<InterfaceCounters> interfaces;
    std::optional<PowerSource> power;
    std::optional<int> thermal;
    Date date;

    /// The calls below come from the samplers; the test's own changes must not overlap with a sample.
    struct Host final : HostStatistics {
        explicit Host(std::shared_ptr<Machine> machine) : machine{std::move(machine)} {}
        std::optional<ProcessorTicks> processorTicks() override { return machine->ticks; }
        std::optional<MemoryStatistics> memory() override { return machine->memory; }
        [[nodiscard]] std::int64_t pageBytes() const override { return machine->pageBytes; }
        [[nodiscard]] std::int64_t physicalMemoryBytes() const override { return machine->physicalMemoryBytes; }
        [[nodiscard]] int activeProcessorCount() const override { return machine->processorCount; }
        std::shared_ptr<Machine> machine;
    };
    struct Interfaces final : NetworkInterfaces {
        explicit Interfaces(std::shared_ptr<Machine> machine) : machine{std::move(machine)} {}
        void list(std::vector<InterfaceCounters>& into) override { into = machine->interfaces; }
        std::shared_ptr<Machine> machine;
    };
    struct Power final : PowerSources {
        explicit Power(std::shared_ptr<Machine> machine) : machine{std::move(machine)} {}
        std::optional<PowerSource> first() override { return machine->power; }
        std::shared_ptr<Machine> machine;
    };
    struct Thermal final : ThermalState {
        explicit Thermal(std::shared_ptr<Machine> machine) : machine{std::move(machine)} {}
        std::optional<int> level() override { return machine->thermal; }
        std::shared_ptr<Machine> machine;
    };

    [[nodiscard]] static SystemMetricsSources sources(const std::shared_ptr<Machine>& machine,
                                                      std::shared_ptr<const ContinuousClock> clock) {
        return {.host = std::make_unique<Host>(machine),
                .networkInterfaces = std::make_unique<Interfaces>(machine),
                .powerSources = std::make_unique<Power>(machine),
                .thermalState = std::make_unique<Thermal>(machine),
                .clock = std::move(clock),
                .wallClock = [machine] { return machine->date; }};
    }
};

/// What a fake process table shows. A listed identifier without details has exited since the listing.
struct FakeProcesses {
    std::vector<std::int32_t> listed;
    std::map<std::int32_t, ProcessDetails> details;

    void add(std::int32_t identifier, ProcessDetails process) {
        listed.push_back(identifier);
        details[identifier] = std::move(process);
    }

    struct Table final : ProcessTable {
        explicit Table(std::shared_ptr<FakeProcesses> processes) : processes{std::move(processes)} {}
        void list(std::vector<std::int32_t>& identifiers) override {
            identifiers.assign(processes->listed.begin(), processes->listed.end());
        }
        std::shared_ptr<FakeProcesses> processes;
    };
    struct Info final : ProcessInfo {
        explicit Info(std::shared_ptr<FakeProcesses> processes) : processes{std::move(processes)} {}
        std::optional<ProcessDetails> details(std::int32_t identifier) override {
            const auto found = processes->details.find(identifier);
            if (found == processes->details.end()) return std::nullopt;
            return found->second;
        }
        std::optional<Text> executablePath(std::int32_t identifier) override {
            const auto found = processes->details.find(identifier);
            return found == processes->details.end() ? std::nullopt : found->second.executablePath;
        }
        std::shared_ptr<FakeProcesses> processes;
    };

    [[nodiscard]] static ProcessSources sources(const std::shared_ptr<FakeProcesses>& processes,
                                                const std::shared_ptr<Machine>& machine,
                                                std::shared_ptr<const ContinuousClock> clock) {
        return {.table = std::make_unique<Table>(processes),
                .info = std::make_unique<Info>(processes),
                .host = std::make_unique<Machine::Host>(machine),
                .clock = std::move(clock)};
    }
};

}  // namespace KestrelCore::Testing
