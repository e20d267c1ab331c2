#include "terminal/MonitorPage.hpp"

#include "output/ProcessOrder.hpp"
#include "output/TerminalText.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

// The page, with everything beyond its width or height cut:
//
//     kestrel monitor                                                        q quits
//     CPU      12.3 %                          ▁▁▂▁▃▅▂▁▁
//     Memory   8.11 GB of 16.0 GB, Normal      ▄▄▄▄▄▄▄▄▄
//     …
//     (blank)
//            PID      CPU %      memory    threads  name
//           4711       98.2     1.20 GB         12  ffmpeg

namespace KestrelCLI {

using KestrelCore::ProcessSample;
using KestrelCore::SystemSample;
using KestrelCore::ThermalLevel;

namespace {

/// Fixed, so that nothing moves sideways while the figures change.
constexpr std::size_t labelColumns = 9;
constexpr std::size_t valueColumns = 32;
/// A quiet network fills no plot: below this rate columns stay low.
constexpr double quietBytesPerSecond = 10'000;

std::string rateText(const Session& session, std::int64_t bytesPerSecond) {
    return session.size(bytesPerSecond) + "/s";
}

/// "none" for a machine without battery and mains; a battery that tells no charge is "unknown".
std::string powerText(const SystemSample& sample) {
    if (!sample.batteryPercent && !sample.isCharging) return "none";
    std::string text = sample.batteryPercent ? percentText(*sample.batteryPercent) : std::string{"unknown"};
    if (sample.isCharging) text += *sample.isCharging ? ", on mains" : ", on battery";
    return text;
}

Style styleOf(const KestrelCore::Text& pressure) {
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

/// From 0 for nominal to 3 for critical.
double severity(ThermalLevel level) { return static_cast<double>(static_cast<int>(level)); }

double fractionOf(std::int64_t part, std::int64_t whole) {
    return whole > 0 ? static_cast<double>(part) / static_cast<double>(whole) : 0;
}

}  // namespace

std::string percentText(double fraction) { return fmt::format("{:.1f} %", fraction * 100); }

// Everything with its label, since a line may be looked at by itself, far from the first.
std::string monitorLine(const Session& session, const SystemSample& sample) {
    std::string line = fmt::format(
        "{}  cpu {}  memory {} of {} ({})  swap {}  down {}  up {}", sample.timestamp.rfc3339(),
        percentText(sample.cpuUsedFraction), session.size(sample.memoryUsedBytes),
        session.size(sample.memoryTotalBytes), sample.memoryPressure.view(), session.size(sample.swapUsedBytes),
        rateText(session, sample.networkDownBytesPerSecond), rateText(session, sample.networkUpBytesPerSecond));
    if (sample.batteryPercent || sample.isCharging) line += "  battery " + powerText(sample);
    line += fmt::format("  thermal {}", KestrelCore::rawValue(sample.thermalLevel));
    return line;
}

void MonitorPage::add(const SystemSample& sample) {
    sample_ = sample;
    processor_.add(sample.cpuUsedFraction);
    memory_.add(fractionOf(sample.memoryUsedBytes, sample.memoryTotalBytes));
    swap_.add(static_cast<double>(sample.swapUsedBytes));
    down_.add(static_cast<double>(sample.networkDownBytesPerSecond));
    up_.add(static_cast<double>(sample.networkUpBytesPerSecond));
    // What the machine does not have gets no plot.
    if (sample.batteryPercent) battery_.add(*sample.batteryPercent);
    if (sample.thermalLevel != ThermalLevel::unknown) thermal_.add(severity(sample.thermalLevel));
}

void MonitorPage::setProcesses(std::vector<ProcessSample> processes) {
    processes_ = std::move(processes);
    sortProcesses(processes_, ProcessOrder::cpu);
}

std::vector<MonitorPage::Figure> MonitorPage::figures(const SystemSample& sample) const {
    const std::string memory = fmt::format("{} of {}, {}", session_.size(sample.memoryUsedBytes),
                                           session_.size(sample.memoryTotalBytes), sample.memoryPressure.view());
    // One scale for both directions, so that they can be compared.
    const double network = std::max({quietBytesPerSecond, down_.largest(), up_.largest()});
    return {
        {"CPU", percentText(sample.cpuUsedFraction), Style::plain, processor_, 1},
        {"Memory", memory, styleOf(sample.memoryPressure), memory_, 1},
        {"Swap", session_.size(sample.swapUsedBytes), Style::plain, swap_, std::max(1.0, swap_.largest())},
        {"Down", rateText(session_, sample.networkDownBytesPerSecond), Style::plain, down_, network},
        {"Up", rateText(session_, sample.networkUpBytesPerSecond), Style::plain, up_, network},
        {"Battery", powerText(sample), Style::plain, battery_, 1},
        {"Thermal", std::string{KestrelCore::rawValue(sample.thermalLevel)}, styleOf(sample.thermalLevel), thermal_, 3},
    };
}

std::vector<ScreenLine> MonitorPage::lines(std::size_t columns, std::size_t rows) const {
    std::vector<ScreenLine> lines;
    const std::string title = "kestrel monitor";
    const std::string hint = "q quits";
    const std::size_t gap = columns > title.size() + hint.size() ? columns - title.size() - hint.size() : 2;
    lines.push_back({{title, Style::heading}, {std::string(gap, ' ')}, {hint, Style::quiet}});
    if (!sample_) return lines;
    // The plot takes what the widths of label and value leave, and goes first where there is little room.
    const std::size_t plotColumns = columns > labelColumns + valueColumns ? columns - labelColumns - valueColumns : 0;
    for (const Figure& figure : figures(*sample_)) {
        lines.push_back({{TerminalText::padded(figure.label, labelColumns), Style::quiet},
                         {TerminalText::padded(figure.value, valueColumns), figure.style},
                         {figure.history.plot(plotColumns, figure.full, isUnicode_), Style::bar}});
    }
    appendProcesses(lines, columns, rows);
    if (lines.size() > rows) lines.resize(rows);
    return lines;
}

/// As many processes as the rows that are left can take, busiest first.
void MonitorPage::appendProcesses(std::vector<ScreenLine>& lines, std::size_t columns, std::size_t rows) const {
    constexpr std::size_t numberColumns = 10 + 2 + 9 + 2 + 10 + 2 + 9 + 2;
    const std::size_t nameColumns = columns > numberColumns ? columns - numberColumns : 0;
    const auto row = [](std::string_view id, std::string_view cpu, std::string_view memory, std::string_view threads) {
        return fmt::format("{:>10}  {:>9}  {:>10}  {:>9}  ", id, cpu, memory, threads);
    };
    lines.emplace_back();
    lines.push_back({{row("PID", "CPU %", "memory", "threads") + "name", Style::quiet}});
    for (const ProcessSample& process : processes_) {
        if (lines.size() >= rows) return;
        std::string name = TerminalText::escaped(process.name.view());
        // A terminal without UTF-8 would show each byte of a character as one of its own, and the columns would be off.
        if (!isUnicode_)
            std::ranges::replace_if(
                name, [](char byte) { return (byte & 0x80) != 0; }, '?');
        lines.push_back({{row(fmt::to_string(process.id), fmt::format("{:.1f}", process.cpuPercent),
                              session_.size(process.residentBytes), fmt::to_string(process.threadCount)) +
                          TerminalText::shortened(name, nameColumns)}});
    }
}

}  // namespace KestrelCLI
