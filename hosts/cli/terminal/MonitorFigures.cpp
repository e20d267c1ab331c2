#include "terminal/MonitorFigures.hpp"

#include "output/TerminalText.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <limits>
#include <utility>

// Each figure is one line:
//
//     CPU      12.3 % of 4                                ▁▁▂▁▃▅▂▁▁
//              0 ▁ 4 %   1 ▃ 45 %   2 ▁ 0 %   3 ▁ 0 %
//     Memory   1.20 GB of 16.0 GB, Normal, 3.1 GB cache   ▄▄▄▄▄▄▄▄▄
//     Space    / 45.0 GB of 60.0 GB, 15.0 GB free         ██████▋

namespace KestrelCLI {

using namespace KestrelCore;

namespace {

/// Fixed, so that nothing moves sideways while the figures change.
constexpr std::size_t labelColumns = 9;
constexpr std::size_t valueColumns = 42;
constexpr std::size_t widestBar = 30;
/// Quiet networks and disks fill no plot: below this rate columns stay low.
constexpr double quietBytesPerSecond = 10'000;
constexpr std::size_t mostVolumes = 6;
constexpr std::size_t mostInterfaces = 4;

std::string powerText(const SystemSample& sample) {
    std::string text = sample.batteryPercent ? percentText(*sample.batteryPercent) : std::string{"unknown"};
    if (sample.isCharging) text += *sample.isCharging ? ", on mains" : ", on battery";
    return text;
}

Style styleOf(const Text& pressure) {
    return pressure == "High" ? Style::bad : pressure == "Elevated" ? Style::warning : Style::plain;
}

Style styleOf(ThermalLevel level) {
    switch (level) {
    case ThermalLevel::critical: return Style::bad;
    case ThermalLevel::serious: return Style::warning;
    case ThermalLevel::nominal:
    case ThermalLevel::fair:
    case ThermalLevel::unknown: break;
    }
    return Style::plain;
}

double fractionOf(std::int64_t part, std::int64_t whole) {
    return whole > 0 ? static_cast<double>(part) / static_cast<double>(whole) : 0;
}

/// Rates of several things together, which stay at the most that can be told.
std::int64_t sum(std::int64_t a, std::int64_t b) {
    return a > std::numeric_limits<std::int64_t>::max() - b ? std::numeric_limits<std::int64_t>::max() : a + b;
}

}  // namespace

std::string percentText(double fraction) { return fmt::format("{:.1f} %", fraction * 100); }

std::string MonitorFigures::rate(std::int64_t bytesPerSecond) const { return session_.size(bytesPerSecond) + "/s"; }

// Everything with its label, since a line may be looked at by itself, far from the first.
std::string monitorLine(const Session& session, const SystemSample& sample, const MemoryDetails& memory) {
    std::string line = fmt::format("{}  cpu {}  memory {} of {} ({})", sample.timestamp.rfc3339(),
                                   percentText(sample.cpuUsedFraction), session.size(sample.memoryUsedBytes),
                                   session.size(sample.memoryTotalBytes), sample.memoryPressure.view());
    if (memory.cacheBytes) line += fmt::format("  cache {}", session.size(*memory.cacheBytes));
    line += fmt::format("  swap {}  down {}/s  up {}/s", session.size(sample.swapUsedBytes),
                        session.size(sample.networkDownBytesPerSecond), session.size(sample.networkUpBytesPerSecond));
    if (sample.batteryPercent || sample.isCharging) line += "  battery " + powerText(sample);
    line += fmt::format("  thermal {}", rawValue(sample.thermalLevel));
    return line;
}

void MonitorFigures::add(const SystemSample& sample, const MemoryDetails& memory) {
    sample_ = sample;
    memory_ = memory;
    processorHistory_.add(sample.cpuUsedFraction);
    memoryHistory_.add(fractionOf(sample.memoryUsedBytes, sample.memoryTotalBytes));
    swapHistory_.add(static_cast<double>(sample.swapUsedBytes));
    networkHistory_.add(static_cast<double>(sum(sample.networkDownBytesPerSecond, sample.networkUpBytesPerSecond)));
}

void MonitorFigures::add(const SystemDetails& details) {
    details_ = details;
    for (const InterfaceSample& interface : details.interfaces) {
        if (interface.downBytesPerSecond > 0 || interface.upBytesPerSecond > 0) {
            busyInterfaces_.insert(interface.name.string());
        }
    }
}

void MonitorFigures::add(const StorageSample& storage) {
    storage_ = storage;
    std::int64_t moved = 0;
    for (const DiskSample& disk : storage.disks) {
        moved = sum(moved, sum(disk.readBytesPerSecond, disk.writtenBytesPerSecond));
    }
    diskHistory_.add(static_cast<double>(moved));
}

/// Each processor with its use where they have room in one line, else one column each.
void MonitorFigures::addProcessors(std::vector<Figure>& figures, std::size_t columns) const {
    if (!details_ || details_->processorUsedFractions.size() < 2) return;
    constexpr std::size_t cellColumns = 10;
    const std::vector<double>& processors = details_->processorUsedFractions;
    const std::size_t room = columns > labelColumns ? columns - labelColumns : 0;
    std::string text;
    for (std::size_t index = 0; index < processors.size(); ++index) {
        PlotHistory one;
        one.add(processors[index]);
        const std::string column = one.plot(1, 1, characters_ == Characters::unicode);
        text += processors.size() * cellColumns > room
                    ? column
                    : fmt::format("{:>2} {} {:>3.0f} % ", index, column, processors[index] * 100);
    }
    figures.push_back({.rank = 3, .label = "", .value = text});
}

void MonitorFigures::addStorage(std::vector<Figure>& figures) const {
    if (!storage_) return;
    std::int64_t readRate = 0;
    std::int64_t writtenRate = 0;
    for (const DiskSample& disk : storage_->disks) {
        readRate = sum(readRate, disk.readBytesPerSecond);
        writtenRate = sum(writtenRate, disk.writtenBytesPerSecond);
    }
    if (!storage_->disks.empty()) {
        figures.push_back({.rank = 2,
                           .label = storage_->disks.size() == 1 ? "Disk" : "Disks",
                           .value = fmt::format("read {}  write {}", rate(readRate), rate(writtenRate)),
                           .history = &diskHistory_,
                           .full = std::max(quietBytesPerSecond, diskHistory_.largest())});
    }
    std::size_t count = 0;
    for (const VolumeSample& volume : storage_->volumes) {
        if (++count > mostVolumes) return;
        const double share = fractionOf(volume.usedBytes, volume.totalBytes);
        std::string value = fmt::format(
            "{} {} of {}, {} free", TerminalText::shortened(TerminalText::escaped(volume.mountPoint.view()), 16),
            session_.size(volume.usedBytes), session_.size(volume.totalBytes), session_.size(volume.freeBytes));
        // One disk's rates are in the line above already.
        if (storage_->disks.size() > 1 && volume.readBytesPerSecond && volume.writtenBytesPerSecond) {
            value +=
                fmt::format("  {} in, {} out", rate(*volume.writtenBytesPerSecond), rate(*volume.readBytesPerSecond));
        }
        figures.push_back({.rank = count == 1 ? 4 : 7,
                           .label = count == 1 ? "Space" : "",
                           .value = std::move(value),
                           .style = share > 0.95   ? Style::bad
                                    : share > 0.85 ? Style::warning
                                                   : Style::plain,
                           .share = share});
    }
}

void MonitorFigures::addNetwork(std::vector<Figure>& figures) const {
    figures.push_back({.rank = 2,
                       .label = "Network",
                       .value = fmt::format("down {}  up {}", rate(sample_->networkDownBytesPerSecond),
                                            rate(sample_->networkUpBytesPerSecond)),
                       .history = &networkHistory_,
                       .full = std::max(quietBytesPerSecond, networkHistory_.largest())});
    // One interface moves what all of them do; many that never do anything would only take up room.
    if (!details_ || busyInterfaces_.size() < 2) return;
    std::size_t count = 0;
    for (const InterfaceSample& interface : details_->interfaces) {
        if (!busyInterfaces_.contains(interface.name.string())) continue;
        if (++count > mostInterfaces) return;
        figures.push_back(
            {.rank = 8,
             .label = "",
             .value = fmt::format("{}  down {}  up {}",
                                  TerminalText::shortened(TerminalText::escaped(interface.name.view()), 15),
                                  rate(interface.downBytesPerSecond), rate(interface.upBytesPerSecond))});
    }
}

void MonitorFigures::addHeat(std::vector<Figure>& figures) const {
    if (sample_->batteryPercent || sample_->isCharging) {
        figures.push_back({.rank = 5, .label = "Battery", .value = powerText(*sample_)});
    }
    const bool isLevelKnown = sample_->thermalLevel != ThermalLevel::unknown;
    std::string heat = isLevelKnown ? std::string{rawValue(sample_->thermalLevel)} : std::string{};
    if (details_ && !details_->temperatures.empty()) {
        std::vector<TemperatureSample> hottest = details_->temperatures;
        std::ranges::stable_sort(hottest, std::greater{}, &TemperatureSample::celsius);
        if (hottest.size() > 3) hottest.resize(3);
        for (const TemperatureSample& temperature : hottest) {
            if (!heat.empty()) heat += ", ";
            heat += fmt::format("{:.0f} °C {}", temperature.celsius, TerminalText::escaped(temperature.name.view()));
        }
    }
    if (heat.empty()) return;
    figures.push_back({.rank = 5, .label = "Heat", .value = std::move(heat), .style = styleOf(sample_->thermalLevel)});
}

std::vector<MonitorFigures::Figure> MonitorFigures::figures(std::size_t columns) const {
    std::vector<Figure> figures;
    const std::size_t processors = details_ ? details_->processorUsedFractions.size() : 0;
    figures.push_back({.rank = 1,
                       .label = "CPU",
                       .value = percentText(sample_->cpuUsedFraction) +
                                (processors > 1 ? fmt::format(" of {} processors", processors) : ""),
                       .history = &processorHistory_});
    addProcessors(figures, columns);
    std::string memory = fmt::format("{} of {}, {}", session_.size(sample_->memoryUsedBytes),
                                     session_.size(sample_->memoryTotalBytes), sample_->memoryPressure.view());
    if (memory_.cacheBytes) memory += fmt::format(", {} cache", session_.size(*memory_.cacheBytes));
    figures.push_back({.rank = 1,
                       .label = "Memory",
                       .value = std::move(memory),
                       .style = styleOf(sample_->memoryPressure),
                       .history = &memoryHistory_});
    // A machine without swap has no line for it.
    if (sample_->swapUsedBytes > 0 || memory_.swapTotalBytes.value_or(1) > 0) {
        std::string swap = session_.size(sample_->swapUsedBytes);
        if (memory_.swapTotalBytes) swap += " of " + session_.size(*memory_.swapTotalBytes);
        const double full = static_cast<double>(memory_.swapTotalBytes.value_or(0));
        figures.push_back({.rank = 4,
                           .label = "Swap",
                           .value = std::move(swap),
                           .history = &swapHistory_,
                           .full = std::max({1.0, full, swapHistory_.largest()})});
    }
    if (details_ && details_->pressure) {
        const PressureSample& waits = *details_->pressure;
        figures.push_back({.rank = 6,
                           .label = "Waiting",
                           .value = fmt::format("for CPU {:.0f} %  memory {:.0f} %  disk {:.0f} %",
                                                waits.processor * 100, waits.memory * 100, waits.disk * 100),
                           .style = std::max(waits.memory, waits.disk) > 0.5 ? Style::warning : Style::plain});
    }
    addStorage(figures);
    addNetwork(figures);
    addHeat(figures);
    return figures;
}

std::vector<ScreenLine> MonitorFigures::lines(std::size_t columns, std::size_t rows) const {
    std::vector<ScreenLine> lines;
    if (!sample_) return lines;
    std::vector<Figure> shown = figures(columns);
    while (shown.size() > rows) {
        // Of those that matter least, the last one goes.
        const auto least = std::ranges::max_element(shown.rbegin(), shown.rend(), {}, &Figure::rank);
        shown.erase(std::next(least).base());
    }
    for (const Figure& figure : shown) {
        const std::size_t room = columns > labelColumns ? columns - labelColumns : 0;
        const std::string value = clipped(figure.value, room, characters_);
        ScreenLine line{{TerminalText::padded(clipped(figure.label, std::min(columns, labelColumns), characters_),
                                              std::min(columns, labelColumns)),
                         Style::quiet},
                        {TerminalText::padded(value, std::min(room, valueColumns)), figure.style}};
        const std::size_t used = std::max(TerminalText::width(value), std::min(room, valueColumns)) + 1;
        const std::size_t rest = room > used ? room - used : 0;
        if (rest > 0 && figure.history != nullptr) {
            line.push_back(
                {" " + figure.history->plot(rest, figure.full, characters_ == Characters::unicode), Style::bar});
        } else if (rest > 0 && figure.share) {
            line.push_back({" " + pageBar(*figure.share, std::min(rest, widestBar), characters_),
                            figure.style == Style::plain ? Style::bar : figure.style});
        }
        lines.push_back(std::move(line));
    }
    return lines;
}

}  // namespace KestrelCLI
