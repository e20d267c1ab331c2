#include "commands/OptionValue.hpp"
#include "output/PlotHistory.hpp"
#include "output/ProcessOrder.hpp"
#include "output/TerminalText.hpp"
#include "terminal/MonitorPage.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <sstream>

namespace KestrelCLI {

namespace {

using KestrelCore::ProcessSample;
using KestrelCore::SystemSample;
using KestrelCore::Text;
using KestrelCore::ThermalLevel;

TEST(Interval, isReadAsAPersonWritesIt) {
    EXPECT_EQ(parseInterval("1s"), Seconds{1});
    EXPECT_EQ(parseInterval("500ms"), Seconds{0.5});
    EXPECT_EQ(parseInterval("2m"), Seconds{120});
    EXPECT_EQ(parseInterval("1.5h"), Seconds{5400});
    EXPECT_EQ(parseInterval("0.25"), Seconds{0.25});
    for (const char* text :
         {"", "s", "0", "0s", "-1s", "1 s", "1x", "nan", "inf", "1e3", "1ss", "99999999999h", "1s "}) {
        EXPECT_EQ(parseInterval(text), std::nullopt) << text;
    }
}

TEST(PlotHistory, plotsTheNewestValuesAtTheRight) {
    PlotHistory history;
    EXPECT_EQ(history.plot(3, 1, true), "   ");
    for (const double value : {0.0, 0.5, 1.0, 2.0}) history.add(value);
    EXPECT_EQ(history.plot(6, 1, true), "  ▁▅██");
    EXPECT_EQ(history.plot(2, 1, true), "██");
    EXPECT_EQ(history.plot(4, 1, false), "_=##");
    EXPECT_EQ(history.plot(0, 1, true), "");
    EXPECT_EQ(history.plot(4, 0, true), "▁▁▁▁");
    EXPECT_EQ(history.largest(), 2);
}

TEST(PlotHistory, forgetsWhatNoPlotShowsAndTakesNoNumberAsZero) {
    PlotHistory history;
    history.add(1e9);
    history.add(std::nan(""));
    for (int index = 0; index < 10'000; ++index) history.add(1);
    EXPECT_EQ(history.largest(), 1);
    EXPECT_EQ(TerminalText::width(history.plot(10'000, 1, true)), 10'000U);
}

struct MonitorPageTest : testing::Test {
    std::ostringstream out, messages;
    Session session{.out = out, .messages = messages, .terminal = {}, .options = {}};
    MonitorPage page{session, true};
    SystemSample sample{.timestamp = KestrelCore::Date{0},
                        .cpuUsedFraction = 0.25,
                        .memoryUsedBytes = 9'000'000'000,
                        .memoryTotalBytes = 10'000'000'000,
                        .swapUsedBytes = 5'000'000,
                        .memoryPressure = "High",
                        .batteryPercent = 0.5,
                        .isCharging = false,
                        .thermalLevel = ThermalLevel::serious,
                        .networkDownBytesPerSecond = 1'500'000,
                        .networkUpBytesPerSecond = 0};

    static std::string textOf(const std::vector<ScreenLine>& lines) {
        std::string text;
        for (const ScreenLine& line : lines) {
            for (const ScreenSpan& span : line) text += span.text;
            text += '\n';
        }
        return text;
    }
};

TEST_F(MonitorPageTest, showsEveryFigureWithItsPlot) {
    page.add(sample);
    const std::string text = textOf(page.lines(80, 24));
    for (const char* shown : {"25.0 %", "9.00 GB of 10.0 GB, High", "5.00 MB", "1.50 MB/s", "0 B/s",
                              "50.0 %, on battery", "serious", "▃\n", "▇\n", "█\n", "▁\n", "▆\n"}) {
        EXPECT_NE(text.find(shown), std::string::npos) << shown << "\n" << text;
    }
}

TEST_F(MonitorPageTest, hasNoPlotForWhatTheMachineDoesNotHave) {
    sample.batteryPercent.reset();
    sample.isCharging.reset();
    sample.thermalLevel = ThermalLevel::unknown;
    page.add(sample);
    const std::string text = textOf(page.lines(80, 24));
    EXPECT_NE(text.find("Battery  none "), std::string::npos) << text;
    const auto line = text.substr(text.find("Battery"));
    EXPECT_EQ(line.substr(0, line.find('\n')).find("▁"), std::string::npos);
}

TEST_F(MonitorPageTest, showsTheBusiestProcessesAndNoNameThatCommandsTheTerminal) {
    page.add(sample);
    page.setProcesses({ProcessSample{.id = 10, .name = "idle"},
                       ProcessSample{.id = 11, .name = "a\x1b[31m\nb", .cpuPercent = 5},
                       ProcessSample{.id = 12, .name = "busy", .cpuPercent = 150}});
    const std::string text = textOf(page.lines(100, 24));
    EXPECT_LT(text.find("150.0"), text.find("a\\x1b[31m\\nb")) << text;
    EXPECT_LT(text.find("a\\x1b[31m\\nb"), text.find("idle"));
    EXPECT_EQ(text.find('\x1b'), std::string::npos);
}

TEST_F(MonitorPageTest, keepsWithinAnySize) {
    page.add(sample);
    std::vector<ProcessSample> processes;
    for (int id = 2; id < 200; ++id) processes.push_back({.id = id, .name = std::string(200, 'x')});
    page.setProcesses(processes);
    for (const std::size_t columns : {0U, 1U, 5U, 20U, 41U, 46U, 47U, 80U, 300U}) {
        for (const std::size_t rows : {0U, 1U, 2U, 8U, 9U, 10U, 24U, 500U}) {
            EXPECT_LE(page.lines(columns, rows).size(), rows) << columns << "x" << rows;
        }
    }
    EXPECT_EQ(page.lines(80, 500).size(), 8U + 2U + 198U);
}

TEST_F(MonitorPageTest, isALineOfTextForAPipe) {
    EXPECT_EQ(
        monitorLine(session, sample),
        "2001-01-01T00:00:00Z  cpu 25.0 %  memory 9.00 GB of 10.0 GB (High)  swap 5.00 MB  down 1.50 MB/s  up 0 B/s"
        "  battery 50.0 %, on battery  thermal serious");
}

TEST(ProcessOrder, sortsByUseMemoryOrNameAndThenIdentifier) {
    const std::vector<ProcessSample> processes{{.id = 3, .name = "b", .cpuPercent = 1, .residentBytes = 5},
                                               {.id = 2, .name = "a", .cpuPercent = 1, .residentBytes = 9},
                                               {.id = 1, .name = "a", .cpuPercent = 0, .residentBytes = 9}};
    const auto identifiers = [&](ProcessOrder order) {
        auto sorted = processes;
        sortProcesses(sorted, order);
        return std::vector<int>{sorted[0].id, sorted[1].id, sorted[2].id};
    };
    EXPECT_EQ(identifiers(ProcessOrder::cpu), (std::vector<int>{2, 3, 1}));
    EXPECT_EQ(identifiers(ProcessOrder::memory), (std::vector<int>{1, 2, 3}));
    EXPECT_EQ(identifiers(ProcessOrder::name), (std::vector<int>{1, 2, 3}));
}

}  // namespace

}  // namespace KestrelCLI
