#include "commands/OptionValue.hpp"
#include "output/PlotHistory.hpp"
#include "output/TerminalText.hpp"
#include "terminal/MonitorPage.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <sstream>

namespace KestrelCLI {

namespace {

using namespace KestrelCore;
using Kind = ScreenKey::Kind;

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

std::string textOf(const std::vector<ScreenLine>& lines) {
    std::string text;
    for (const ScreenLine& line : lines) {
        for (const ScreenSpan& span : line) text += span.text;
        text += '\n';
    }
    return text;
}

/// The text of the line that is chosen; empty when none is.
std::string chosenLine(const std::vector<ScreenLine>& lines) {
    for (const ScreenLine& line : lines) {
        for (const ScreenSpan& span : line) {
            if (span.style == Style::selected) return span.text;
        }
    }
    return {};
}

struct MonitorPageTest : testing::Test {
    static constexpr std::int32_t ownIdentifier = 900;
    std::ostringstream out, messages;
    Session session{.out = out, .messages = messages, .terminal = {}, .options = {}};
    MonitorPage page{session, Characters::unicode, ownIdentifier, {}};
    SystemSample sample{.timestamp = Date{0},
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

    static ProcessRow row(std::int32_t id, const char* name, double cpu, std::int32_t parent = 1) {
        ProcessRow made;
        made.sample.id = id;
        made.sample.name = Text{name};
        made.sample.cpuPercent = cpu;
        made.description.id = id;
        made.description.parentId = parent;
        made.description.user = Text{"ann"};
        made.description.commandLine = Text{std::string{"/bin/"} + name + " --now"};
        return made;
    }
    /// busy 12, tool 11 and idle 10 by use; the shell 800 is above this program.
    void showProcesses() {
        ProcessRow kernel = row(2, "kthreadd", 0, 0);
        kernel.description.isKernelThread = true;
        kernel.description.commandLine.reset();
        std::vector<ProcessRow> rows{row(10, "idle", 0),   row(11, "tool", 5, 12),
                                     row(12, "busy", 150), kernel,
                                     row(800, "shell", 0), row(ownIdentifier, "kestrel", 0, 800)};
        rows[0].sample.residentBytes = 5'000'000;
        rows[1].description.writtenBytesPerSecond = 7000;
        page.processes().setRows(rows);
    }
    ProcessRequest press(Kind kind, char32_t character = 0) {
        return page.press({.kind = kind, .character = character}, 100, 30).request;
    }
    ProcessRequest type(std::u32string_view keys) {
        ProcessRequest last;
        for (const char32_t key : keys) last = press(Kind::character, key);
        return last;
    }
    std::string text() { return textOf(page.lines(100, 30)); }
    std::string chosen() { return chosenLine(page.lines(100, 30)); }
};

TEST_F(MonitorPageTest, showsEveryFigureWithItsPlot) {
    page.figures().add(sample, {.cacheBytes = 2'000'000'000, .swapTotalBytes = 10'000'000});
    page.figures().add(SystemDetails{.processorUsedFractions = {0.5, 0},
                                     .pressure = PressureSample{.processor = 0.1, .memory = 0.2, .disk = 0.3},
                                     .interfaces = {{"eth0", 1'500'000, 0}, {"wlan0", 1, 1}, {"never", 0, 0}},
                                     .temperatures = {{"nvme", 38.85}, {"cpu", 61}}});
    StorageSample storage;
    storage.volumes = {{.mountPoint = "/", .totalBytes = 100'000, .usedBytes = 90'000, .freeBytes = 9000}};
    storage.disks = {{.name = "sda", .readBytesPerSecond = 5000, .writtenBytesPerSecond = 6000}};
    page.figures().add(storage);
    const std::string shown = textOf(page.lines(100, 50));
    for (const char* each :
         {"25.0 % of 2 processors", " 0 ▅  50 %", "9.00 GB of 10.0 GB, High, 2.00 GB cache", "5.00 MB of 10.0 MB",
          "CPU 10 %  memory 20 %  disk 30 %", "read 5.00 kB/s  write 6.00 kB/s", "/ 90.0 kB of 100 kB, 9.00 kB free",
          "down 1.50 MB/s  up 0 B/s", "eth0", "wlan0", "50.0 %, on battery", "serious, 61 °C cpu, 39 °C nvme"}) {
        EXPECT_NE(shown.find(each), std::string::npos) << each << "\n" << shown;
    }
    EXPECT_EQ(shown.find("never"), std::string::npos);
}

TEST_F(MonitorPageTest, hasNoLineForWhatTheMachineDoesNotHave) {
    sample.batteryPercent.reset();
    sample.isCharging.reset();
    sample.thermalLevel = ThermalLevel::unknown;
    sample.swapUsedBytes = 0;
    page.figures().add(sample, {.swapTotalBytes = 0});
    const std::string shown = textOf(page.lines(80, 40));
    for (const char* each : {"Battery", "Heat", "Swap", "Waiting", "Disk"}) {
        EXPECT_EQ(shown.find(each), std::string::npos) << each << "\n" << shown;
    }
}

TEST_F(MonitorPageTest, showsTheBusiestProcessesAndNoNameThatCommandsTheTerminal) {
    page.processes().setRows({row(10, "idle", 0), row(11, "a\x1b[31m\nb", 5), row(12, "busy", 150)});
    const std::string shown = text();
    EXPECT_LT(shown.find("150.0"), shown.find("a\\x1b[31m\\nb")) << shown;
    EXPECT_LT(shown.find("a\\x1b[31m\\nb"), shown.find("idle"));
    EXPECT_EQ(shown.find('\x1b'), std::string::npos);
}

TEST_F(MonitorPageTest, keepsWithinAnySize) {
    page.figures().add(sample, {});
    std::vector<ProcessRow> rows;
    for (int id = 2; id < 200; ++id) rows.push_back(row(id, std::string(200, 'x').c_str(), 1));
    rows.push_back(row(200, "漢字漢字漢字漢字漢字漢字漢字漢字", 3));
    page.processes().setRows(rows);
    (void)type(U"/x");
    for (int step = 0; step < 4; ++step) {
        for (const std::size_t columns : {0U, 1U, 2U, 5U, 20U, 41U, 63U, 64U, 80U, 100U, 131U, 300U}) {
            for (const std::size_t count : {0U, 1U, 2U, 3U, 4U, 5U, 6U, 9U, 24U, 500U}) {
                const auto lines = page.lines(columns, count);
                EXPECT_LE(lines.size(), count) << columns << "x" << count;
                for (const ScreenLine& line : lines) {
                    std::size_t width = 0;
                    for (const ScreenSpan& span : line) width += TerminalText::width(span.text);
                    EXPECT_LE(width, columns) << textOf({line}) << columns << "x" << count;
                }
                (void)page.press({.kind = Kind::down}, columns, count);
                (void)page.press({.kind = Kind::click, .row = count / 2}, columns, count);
            }
        }
        // In a filter, in a list with one chosen, before a question, and in the help.
        if (step == 0) (void)press(Kind::enter);
        if (step == 1) (void)press(Kind::remove);
        if (step == 2) (void)type(U"n?");
    }
}

TEST_F(MonitorPageTest, sortsAndFoldsTheKernelsThreads) {
    showProcesses();
    EXPECT_LT(text().find("busy"), text().find("tool"));
    EXPECT_EQ(text().find("kthreadd"), std::string::npos);
    EXPECT_NE(text().find("1 thread of the kernel is folded (k shows it)"), std::string::npos) << text();
    (void)type(U"k");
    EXPECT_NE(text().find("kthreadd"), std::string::npos);
    (void)type(U"m");
    EXPECT_LT(text().find("idle"), text().find("busy"));
    (void)type(U"d");
    EXPECT_LT(text().find("tool"), text().find("busy"));
    (void)type(U"n");
    EXPECT_LT(text().find("busy"), text().find("idle"));
    (void)type(U"c");
    EXPECT_LT(text().find("busy"), text().find("tool"));
}

TEST_F(MonitorPageTest, drawsTheTree) {
    showProcesses();
    (void)type(U"t");
    EXPECT_NE(text().find("└─ tool"), std::string::npos) << text();
    EXPECT_NE(text().find("└─ kestrel"), std::string::npos) << text();
    (void)type(U"t");
    EXPECT_EQ(text().find("└─"), std::string::npos);
}

TEST_F(MonitorPageTest, filtersByWordsWhileTheyAreTyped) {
    showProcesses();
    (void)type(U"/BIN/to qé");
    EXPECT_NE(text().find("Filter: BIN/to qé_"), std::string::npos) << text();
    EXPECT_NE(text().find("No process matches."), std::string::npos) << text();
    (void)press(Kind::backspace);
    (void)press(Kind::backspace);
    EXPECT_NE(text().find("tool"), std::string::npos) << text();
    EXPECT_EQ(text().find("busy"), std::string::npos) << text();
    EXPECT_FALSE(page.press({.kind = Kind::character, .character = U'q'}, 100, 30).isOver);
    (void)press(Kind::backspace);
    (void)press(Kind::enter);
    EXPECT_NE(text().find("Only “BIN/to ”"), std::string::npos) << text();
    (void)press(Kind::escape);
    EXPECT_NE(text().find("busy"), std::string::npos);
}

TEST_F(MonitorPageTest, asksBeforeItAsksToQuitAndAgainBeforeForce) {
    showProcesses();
    EXPECT_EQ(press(Kind::remove).kind, ProcessRequest::Kind::none);
    EXPECT_NE(text().find("Choose a process first"), std::string::npos);
    (void)press(Kind::down);
    EXPECT_NE(chosen().find("busy"), std::string::npos);
    EXPECT_EQ(press(Kind::remove).kind, ProcessRequest::Kind::none);
    EXPECT_NE(text().find("Ask busy (12) to quit? [y/N]"), std::string::npos) << text();
    EXPECT_EQ(type(U"q").kind, ProcessRequest::Kind::none);  // no, and the page stays
    EXPECT_EQ(text().find("to quit?"), std::string::npos);
    (void)press(Kind::remove);
    const ProcessRequest request = type(U"y");
    EXPECT_EQ(request.kind, ProcessRequest::Kind::quit);
    EXPECT_EQ(request.process.id, 12);
    page.processes().note(request);
    (void)press(Kind::remove);
    EXPECT_NE(text().find("still runs. End it by force?"), std::string::npos) << text();
    EXPECT_EQ(type(U"y").kind, ProcessRequest::Kind::forceQuit);

    // The identifier is another process's by now.
    ProcessRow other = row(12, "other", 1);
    other.description.startedAt = Date{5};
    page.processes().setRows({other});
    (void)press(Kind::remove);
    EXPECT_NE(text().find("Ask other (12) to quit?"), std::string::npos) << text();
    // So it is before the question has its answer: a yes means nobody then.
    other.description.startedAt = Date{6};
    page.processes().setRows({other});
    EXPECT_EQ(text().find("to quit?"), std::string::npos) << text();
    EXPECT_EQ(type(U"y").kind, ProcessRequest::Kind::none);
}

TEST_F(MonitorPageTest, freezesAndResumesButNotWhatItRunsBelow) {
    showProcesses();
    (void)press(Kind::down);
    ProcessRequest request = type(U" ");
    EXPECT_EQ(request.kind, ProcessRequest::Kind::freeze);
    EXPECT_EQ(request.process.id, 12);
    ProcessRow frozen = row(12, "busy", 0);
    frozen.description.isFrozen = true;
    page.processes().setRows({frozen, row(800, "shell", 0), row(ownIdentifier, "kestrel", 0, 800)});
    EXPECT_NE(chosen().find("busy (frozen)"), std::string::npos) << text();
    EXPECT_EQ(type(U" ").kind, ProcessRequest::Kind::resume);
    for (int more = 0; more < 2; ++more) {
        (void)press(Kind::down);
        EXPECT_EQ(type(U" ").kind, ProcessRequest::Kind::none);
        EXPECT_NE(text().find("neither could go on"), std::string::npos) << text();
    }
}

TEST_F(MonitorPageTest, keepsToTheChosenProcessWhereverItGoes) {
    showProcesses();
    (void)press(Kind::down);
    (void)press(Kind::down);
    EXPECT_NE(chosen().find("tool"), std::string::npos);
    page.processes().setRows({row(10, "idle", 70), row(11, "tool", 0), row(12, "busy", 50)});
    EXPECT_NE(chosen().find("tool"), std::string::npos);
    // Gone: none is chosen in its place.
    page.processes().setRows({row(10, "idle", 70), row(12, "busy", 50)});
    EXPECT_EQ(chosen(), "");
    EXPECT_EQ(type(U" ").kind, ProcessRequest::Kind::none);
}

TEST_F(MonitorPageTest, scrollsWithTheWheelAndChoosesWithAClick) {
    std::vector<ProcessRow> rows;
    for (int id = 1000; id < 1100; ++id) rows.push_back(row(id, ("p" + std::to_string(id)).c_str(), 2000 - id));
    page.processes().setRows(rows);
    const auto lines = page.lines(100, 30);
    std::size_t at = 0;
    while (textOf({lines[at]}).find("p1004") == std::string::npos) ++at;
    (void)page.press({.kind = Kind::click, .row = at, .column = 3}, 100, 30);
    EXPECT_NE(chosen().find("p1004"), std::string::npos);
    (void)press(Kind::wheelDown);
    EXPECT_NE(chosen().find("p1007"), std::string::npos);
    (void)press(Kind::end);
    EXPECT_NE(chosen().find("p1099"), std::string::npos);
    EXPECT_EQ(text().find("p1004"), std::string::npos);
    (void)press(Kind::home);
    EXPECT_NE(chosen().find("p1000"), std::string::npos);
    // The title is no process.
    (void)page.press({.kind = Kind::click, .row = 0}, 100, 30);
    EXPECT_NE(chosen().find("p1000"), std::string::npos);
}

TEST_F(MonitorPageTest, tellsItsKeysAndEnds) {
    showProcesses();
    (void)type(U"?");
    EXPECT_NE(text().find("freeze the chosen process"), std::string::npos) << text();
    (void)type(U"q");  // any key goes back
    EXPECT_NE(text().find("busy"), std::string::npos);
    EXPECT_TRUE(page.press({.kind = Kind::character, .character = U'q'}, 100, 30).isOver);
    EXPECT_TRUE(page.press({.kind = Kind::closed}, 100, 30).isOver);
}

TEST_F(MonitorPageTest, showsASCIIAloneWhereNothingElseCanBeShown) {
    MonitorPage plain{session, Characters::ascii, ownIdentifier, {}};
    plain.figures().add(sample, {});
    plain.figures().add(SystemDetails{.processorUsedFractions = {0.5, 1}, .temperatures = {{"cpu", 61}}});
    plain.processes().setRows({row(12, "größer", 1), row(13, "漢", 1, 12)});
    (void)plain.press({.kind = Kind::character, .character = U't'}, 100, 40);
    for (const char byte : textOf(plain.lines(100, 40))) EXPECT_GE(byte, 0);
}

TEST_F(MonitorPageTest, isALineOfTextForAPipe) {
    EXPECT_EQ(monitorLine(session, sample, {.cacheBytes = 3'000'000'000}),
              "2001-01-01T00:00:00Z  cpu 25.0 %  memory 9.00 GB of 10.0 GB (High)  cache 3.00 GB  swap 5.00 MB"
              "  down 1.50 MB/s  up 0 B/s  battery 50.0 %, on battery  thermal serious");
    EXPECT_EQ(monitorLine(session, sample, {}).find("cache"), std::string::npos);
}

TEST_F(MonitorPageTest, tellsWholeKeysAndTheOneThatTellsAllOfThem) {
    page.processes().setRows({row(12, "one", 1)});
    for (const std::size_t columns : {40U, 60U, 61U, 80U}) {
        const std::string text = textOf(page.lines(columns, 24));
        const std::string last = text.substr(text.rfind('\n', text.size() - 2) + 1);
        EXPECT_LE(TerminalText::width(last), columns + 1) << last;
        EXPECT_TRUE(last.starts_with("c m n d sort  t tree  / filter  ")) << last;
        EXPECT_TRUE(last.ends_with("  ? help\n")) << last;
        EXPECT_EQ(last.find("freeze") != std::string::npos, columns > 61) << last;
    }
}

}  // namespace

}  // namespace KestrelCLI
