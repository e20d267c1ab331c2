#pragma once

#include "Base/FatalError.hpp"
#include "Metrics/SystemMetricsRules.hpp"
#include "Platform/Linux/Processes/ProcText.hpp"
#include "Platform/Linux/Sensors/DiskText.hpp"
#include "Platform/Linux/Sensors/SensorText.hpp"

#include <cmath>
#include <memory>
#include <string_view>
#include <utility>
#include <vector>

namespace KestrelCore::Fuzzing {

inline void expect(bool holds, const char* promise) {
    if (!holds) fatalError("fuzz/ProcText", promise);
}

inline std::vector<std::string_view> piecesOf(std::string_view input) {
    constexpr std::size_t mostPieces = 64;
    std::vector<std::string_view> pieces;
    while (pieces.size() < mostPieces) {
        const std::size_t end = input.find('\0');
        pieces.push_back(input.substr(0, end));
        if (end == std::string_view::npos) break;
        input.remove_prefix(end + 1);
    }
    return pieces;
}

/// Shows one list of interfaces after the other.
struct ListedInterfaces final : NetworkInterfaces {
    explicit ListedInterfaces(std::vector<std::string_view> texts) : texts{std::move(texts)} {}
    void list(std::vector<InterfaceCounters>& interfaces) override {
        ProcText::interfaces(next < texts.size() ? texts[next++] : std::string_view{}, interfaces);
    }
    std::vector<std::string_view> texts;
    std::size_t next = 0;
};

inline void exerciseSystem(const std::vector<std::string_view>& pieces) {
    std::optional<ProcessorLoad> load;
    NetworkCounters network{std::make_unique<ListedInterfaces>(pieces)};
    NetworkTotals totals = network.totals();
    for (const std::string_view piece : pieces) {
        const ProcessorLoad nextLoad = processorLoad(ProcText::processorTicks(piece));
        const double fraction = usedFraction(load, nextLoad);
        expect(fraction >= 0 && fraction <= 1, "A used fraction is between 0 and 1");
        load = nextLoad;

        constexpr std::int64_t total = 16'000'000'000;
        const MemoryUse use = memoryUse(ProcText::memory(piece, 4096), 4096, total);
        expect(use.usedBytes >= 0 && use.usedBytes <= total && use.swapUsedBytes >= 0, "Memory in use is in range");

        const NetworkTotals nextTotals = network.totals();
        expect(nextTotals.receivedBytes >= totals.receivedBytes && nextTotals.sentBytes >= totals.sentBytes,
               "Totals never decrease");
        expect(bytesPerSecond(totals.receivedBytes, nextTotals.receivedBytes, Seconds{0}) >= 0,
               "Rates are never below 0");
        totals = nextTotals;
    }
}

inline void exerciseProcesses(const std::vector<std::string_view>& pieces) {
    std::optional<ProcessorTimeReading> reading;
    for (std::size_t index = 0; index < pieces.size(); ++index) {
        const std::string_view piece = pieces[index];
        const std::string_view other = pieces[(index + 1) % pieces.size()];
        if (const auto status = ProcText::processStatus(piece)) {
            expect(ProcText::processState(piece) == status->state, "Both readers see one state");
            expect(status->threadCount >= 0 && status->virtualBytes >= 0, "Process figures are in range");
            const std::string_view name = ProcText::fullName(status->name, other, piece);
            expect(name.starts_with(status->name), "A full name begins with the name");
            (void)Text{name};
            const ProcessorTimeReading next{status->processorTicks, std::chrono::nanoseconds{index}};
            const double percent = processorPercent(reading, next, 4);
            expect(percent >= 0 && percent <= 400, "Processor use is within all processors");
            reading = next;
        }
        const auto resident = ProcText::residentBytes(piece, 4096);
        expect(resident.value_or(0) >= 0, "Resident bytes are in range");
        expect(ProcText::processIdentifier(piece).value_or(1) > 0, "Identifiers are above 0");
        expect(ProcText::commandLine(piece).size() <= piece.size(), "A command line adds nothing");
        (void)ProcText::effectiveUser(piece);
        (void)ProcText::traffic(piece);
        (void)ProcText::bootTime(piece);
        (void)ProcText::eachProcessorTicks(piece);
        const double stall = SensorText::stallPercent(piece).value_or(0);
        expect(stall >= 0 && stall <= 100, "A stall is a percentage");
        expect(std::isfinite(SensorText::celsius(piece).value_or(0)), "A temperature is finite");
        for (const DiskText::Line& line : DiskText::diskStatistics(piece)) {
            expect(!line.name.empty(), "A disk has a name");
        }
        expect(DiskText::volumesOf(MountTable::parse(piece), 4).size() <= 4, "Volumes are bounded");
    }
}

inline void exerciseSensors(const std::vector<std::string_view>& pieces) {
    const auto at = [&pieces](std::size_t index) { return index < pieces.size() ? pieces[index] : std::string_view{}; };
    std::vector<SensorText::PowerSupply> supplies;
    std::vector<SensorText::ThermalZone> zones;
    for (std::size_t index = 0; index < pieces.size(); index += 10) {
        supplies.push_back({at(index), at(index + 1), at(index + 2), at(index + 3), at(index + 4), at(index + 5),
                            at(index + 6), at(index + 7), at(index + 8), at(index + 9)});
        zones.push_back({at(index), {{at(index + 1), at(index + 2)}, {at(index + 3), at(index + 4)}}});
    }
    const auto charge = chargeFraction(SensorText::firstPowerSource(supplies));
    expect(!charge || std::isfinite(*charge), "A charge is finite");
    const int level = SensorText::thermalLevel(zones).value_or(0);
    expect(level >= 0 && level <= 3, "A thermal level is between 0 and 3");
}

/// Any bytes as texts of /proc and /sys, NUL between them: each one goes through every reader, and what comes out
/// through the arithmetic of the samplers. Stops the process when a promise is broken.
inline void exerciseProcText(std::string_view input) {
    const std::vector<std::string_view> pieces = piecesOf(input);
    exerciseSystem(pieces);
    exerciseProcesses(pieces);
    exerciseSensors(pieces);
}

}  // namespace KestrelCore::Fuzzing
