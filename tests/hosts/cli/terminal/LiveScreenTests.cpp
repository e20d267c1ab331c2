#include "terminal/LiveScreen.hpp"

#include "support/TerminalChild.hpp"
#include "terminal/Interruption.hpp"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <functional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

namespace KestrelCLI {

namespace {

using Kind = ScreenKey::Kind;
using namespace std::chrono_literals;

/// What a page that shows what it is told writes about a key.
std::string nameOf(const ScreenKey& key) {
    switch (key.kind) {
    case Kind::character: return fmt::format("'{}'", static_cast<char>(key.character));
    case Kind::up: return "up";
    case Kind::home: return "home";
    case Kind::end: return "end";
    case Kind::tab: return "tab";
    case Kind::backTab: return "backtab";
    case Kind::escape: return "escape";
    case Kind::click: return fmt::format("click {} {}", key.row, key.column);
    case Kind::doubleClick: return fmt::format("double {} {}", key.row, key.column);
    case Kind::wheelUp: return fmt::format("wheelup {} {}", key.row, key.column);
    case Kind::woken: return "woken";
    case Kind::resized: return "resized";
    default: return "?";
    }
}

/// Writes each key below the ones before it until q is typed; `task` is carried out first for each character.
[[nodiscard]] int showKeys(bool hasColor, const std::function<void(LiveScreen&)>& task = {}) {
    LiveScreen screen{hasColor};
    std::string keys = "ready";
    for (int number = 1;; ++number) {
        // Every cell differs from what was there, so that the text is written in one piece.
        screen.draw({{{.text = std::string(40, '~'), .style = Style::plain}}});
        screen.draw({{{.text = keys, .style = Style::plain}}});
        const ScreenKey key = screen.wait(1h);
        if (Interruption::isRequested()) return 130;
        if (key.kind == Kind::closed) return 3;
        if (key.kind == Kind::character && key.character == U'q') return 0;
        if (task && key.kind == Kind::character) task(screen);
        keys = fmt::format("{0}<{1}>{0}", number, nameOf(key));
    }
}

class LiveScreenInTerminal : public TerminalChild {
public:
    explicit LiveScreenInTerminal(const std::function<int()>& task, const std::string& terminalType = "xterm-256color")
        : TerminalChild{10, 40, terminalType, task} {
        EXPECT_TRUE(shows("ready")) << output();
    }

    /// Types `keys` and waits until the page has told of `expected`.
    void check(std::string_view keys, std::string_view expected) {
        forgetOutput();
        type(keys);
        EXPECT_TRUE(shows(expected)) << testing::PrintToString(keys) << ": " << testing::PrintToString(output());
    }
    void quit() {
        type("q");
        EXPECT_EQ(end(), 0);
        EXPECT_TRUE(hasEarlierSettings());
        EXPECT_TRUE(hasEarlierScreen());
    }
};

TEST(LiveScreen, knowsTheKeysInAllTheirUsualEncodings) {
    LiveScreenInTerminal page{[] { return showKeys(false); }};
    int number = 0;
    const std::vector<std::pair<std::string_view, std::string_view>> cases{
        {"\x1b[H", "home"}, {"\x1bOH", "home"},    {"\x1b[1~", "home"}, {"\x1b[7~", "home"}, {"\x1b[F", "end"},
        {"\x1bOF", "end"},  {"\x1b[4~", "end"},    {"\x1b[8~", "end"},  {"\x1b[A", "up"},    {"\x1bOA", "up"},
        {"\t", "tab"},      {"\x1b[Z", "backtab"}, {"\x1b", "escape"},  {"x", "'x'"}};
    for (const auto& [keys, name] : cases) {
        ++number;
        page.check(keys, fmt::format("{}<{}>", number, name));
    }
    page.quit();
}

TEST(LiveScreen, tellsOfTheMouseAndOfTwoClicksAsOne) {
    LiveScreenInTerminal page{[] { return showKeys(false); }};
    const auto mouse = [](int button, int row, int column, char action) {
        return fmt::format("\x1b[<{};{};{}{}", button, column + 1, row + 1, action);
    };
    const std::string click = mouse(0, 3, 5, 'M') + mouse(0, 3, 5, 'm');
    page.check(click, "1<click 3 5>");
    page.check(mouse(0, 4, 5, 'M') + mouse(0, 4, 5, 'm'), "2<click 4 5>");
    page.check(click + click, "<double 3 5>");
    page.check(mouse(64, 9, 39, 'M'), "<wheelup 9 39>");
    page.quit();
}

TEST(LiveScreen, redrawsEverythingOnControlL) {
    LiveScreenInTerminal page{[] { return showKeys(false); }};
    page.check("x", "1<'x'>1");
    page.check("\f", "\x1b[2J");
    EXPECT_TRUE(page.shows("2<resized>2")) << page.output();
    page.quit();
}

TEST(LiveScreen, isWokenFromAnotherThread) {
    LiveScreenInTerminal page{[] {
        return showKeys(false, [](LiveScreen& screen) {
            std::thread{[&screen] {
                for (int count = 0; count < 1000; ++count) screen.wake();
            }}.join();
        });
    }};
    page.check("x", "2<woken>2");
    // All of them were one, or this would not come next.
    page.check("y", "3<'y'>3");
    page.quit();
}

TEST(LiveScreen, wakesAWaitThatHasBegun) {
    LiveScreenInTerminal page{[] {
        LiveScreen screen{false};
        screen.draw({{{.text = "ready", .style = Style::plain}}});
        int descriptors[2];
        if (pipe(descriptors) != 0) return 1;
        std::thread waker{[&] {
            char byte = 0;
            if (read(descriptors[0], &byte, 1) == 1) screen.wake();
        }};
        if (write(descriptors[1], "x", 1) != 1) return 1;
        const ScreenKey key = screen.wait(1h);
        waker.join();
        return key.kind == Kind::woken ? 0 : 2;
    }};
    EXPECT_EQ(page.end(), 0);
}

TEST(LiveScreen, givesTheTerminalToAnotherProgramAndTakesItAgain) {
    LiveScreenInTerminal page{[] {
        return showKeys(false, [](LiveScreen& screen) {
            screen.suspended(
                [] { EXPECT_EQ(std::system("stty -a; echo from the shell; read line; echo got $line"), 0); });
        });
    }};
    page.check("x", "from the shell");
    EXPECT_TRUE(page.hasEarlierSettings());
    EXPECT_TRUE(page.hasEarlierScreen());
    page.check("words\n", "got words");
    EXPECT_TRUE(page.shows("ready", "\x1b[?1049h")) << page.output();
    EXPECT_TRUE(page.shows("1<'x'>1")) << page.output();
    page.quit();
}

TEST(LiveScreen, anInterruptionOfTheOtherProgramIsNotItsOwn) {
    LiveScreenInTerminal page{[] {
        return showKeys(false, [](LiveScreen& screen) {
            screen.suspended([] { [[maybe_unused]] const int status = std::system("echo waiting; exec sleep 1000"); });
        });
    }};
    page.check("x", "waiting");
    page.check("\x03", "1<'x'>1");
    page.quit();
}

TEST(LiveScreen, takesTheTerminalAgainWhenTheTaskThrows) {
    LiveScreenInTerminal page{[] {
        return showKeys(false, [](LiveScreen& screen) {
            EXPECT_THROW(screen.suspended([] { throw std::runtime_error{"no shell"}; }), std::runtime_error);
        });
    }};
    page.check("x", "1<'x'>1");
    page.quit();
}

TEST(LiveScreen, copiesToTheClipboardOfTerminalsThatHaveOne) {
    const auto copying = [] {
        return showKeys(false, [](LiveScreen& screen) {
            if (!screen.copy("a\x1b\n/ä")) screen.wake();
        });
    };
    LiveScreenInTerminal page{copying};
    page.check("x", "\x1b]52;c;YRsKL8Ok\a");
    page.quit();
    LiveScreenInTerminal console{copying, "linux"};
    console.check("x", "2<woken>2");
    EXPECT_EQ(console.output().find("52;"), std::string::npos);
    console.type("q");
    EXPECT_EQ(console.end(), 0);
}

/// What is written for an orange text on a grey one of the 256.
std::string colorsShown(const std::string& terminalType, const char* colorTerm, bool hasColor = true) {
    LiveScreenInTerminal page{[=] {
                                  if (colorTerm != nullptr) setenv("COLORTERM", colorTerm, 1);
                                  return showKeys(hasColor, [](LiveScreen& screen) {
                                      screen.draw({{{.text = "orange",
                                                     .style = Style::plain,
                                                     .foreground = ScreenColor::rgb(250, 140, 10),
                                                     .background = ScreenColor::indexed(240)}}});
                                      screen.wake();
                                  });
                              },
                              terminalType};
    page.check("x", "woken");
    const std::string output = page.output();
    page.type("q");
    EXPECT_EQ(page.end(), 0);
    const std::size_t end = output.find("orange");
    const std::size_t begin = output.rfind('H', end) + 1;
    return output.substr(begin, end - begin);
}

TEST(LiveScreen, showsTheNearestColorsThatTheTerminalHas) {
    EXPECT_THAT(colorsShown("xterm-256color", "truecolor"), testing::EndsWith("\x1b[38;2;250;140;10m\x1b[48;5;240m"));
    EXPECT_THAT(colorsShown("xterm-256color", "24bit"), testing::EndsWith("\x1b[38;2;250;140;10m\x1b[48;5;240m"));
    EXPECT_THAT(colorsShown("xterm-256color", nullptr), testing::EndsWith("\x1b[38;5;208m\x1b[48;5;240m"));
    // A screen in such a terminal hands the variable on.
    EXPECT_THAT(colorsShown("screen-256color", "truecolor"), testing::EndsWith("\x1b[38;5;208m\x1b[48;5;240m"));
    EXPECT_THAT(colorsShown("xterm-color", nullptr), testing::EndsWith("\x1b[33m\x1b[40m"));
}

TEST(LiveScreen, showsNoColorWhereNoneIsWantedOrThere) {
    for (const std::string& looks : {colorsShown("xterm-256color", "truecolor", false), colorsShown("vt220", nullptr)})
        EXPECT_EQ(looks.find_first_of("34"), std::string::npos) << testing::PrintToString(looks);
}

TEST(LiveScreen, endsWhenTheTerminalGoesAlsoWhereThatSignalIsIgnored) {
    LiveScreenInTerminal page{[] {
        signal(SIGHUP, SIG_IGN);
        return showKeys(false);
    }};
    page.hangUp();
    const int status = page.end();
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 3) << status;
}

}  // namespace

}  // namespace KestrelCLI
