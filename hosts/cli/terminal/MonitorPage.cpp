#include "terminal/MonitorPage.hpp"

#include "output/TerminalText.hpp"

#include <algorithm>
#include <array>
#include <iterator>
#include <utility>

namespace KestrelCLI {

namespace {

struct Help {
    const char* key;
    const char* meaning;
};
constexpr std::array helpLines{
    Help{"c m n d", "sort by CPU, memory, name, or disk (read and written)"},
    Help{"t", "as a tree, each process below the one that started it"},
    Help{"/", "only what has these words in name, command line or user"},
    Help{"arrows, click", "choose a process; also Page Up, Page Down, Home, End, wheel"},
    Help{"Del", "ask the chosen process to quit; again: end it by force"},
    Help{"Space", "freeze the chosen process; again: let it go on"},
    Help{"k", "show the threads of the kernel, or fold them"},
    Help{"Esc", "all processes again, none chosen"},
    Help{"q, Ctrl-C", "end; Ctrl-Z puts the page aside until fg"},
    Help{"", ""},
    Help{"", "100 % of CPU is one busy processor. Waiting: the part of the"},
    Help{"", "last ten seconds in which something had to wait for it."},
    Help{"", "Text is selected with Shift held down, in most terminals."},
};

}  // namespace

MonitorPage::MonitorPage(const Session& session, Characters characters, std::int32_t ownIdentifier, Options options)
    : characters_{characters}, options_{std::move(options)}, figures_{session, characters},
      processes_{session, characters, ownIdentifier, options_.processes} {}

/// The title and the figures: less than half of the page, so that there is room for processes.
std::vector<ScreenLine> MonitorPage::top(std::size_t columns, std::size_t rows) const {
    std::vector<ScreenLine> lines;
    if (rows < 3) return lines;
    const std::string hint = "? help  q ends";
    const std::string title = clipped(options_.title, columns, characters_);
    const std::size_t gap = columns > title.size() + hint.size() ? columns - title.size() - hint.size() : columns;
    lines.push_back({{title, Style::heading}});
    if (gap < columns) {
        lines.back().push_back({std::string(gap, ' ')});
        lines.back().push_back({hint, Style::quiet});
    }
    if (!options_.showsFigures || rows < 6) return lines;
    std::vector<ScreenLine> figures = figures_.lines(columns, rows >= 12 ? (rows - 2) / 2 : rows / 3);
    std::move(figures.begin(), figures.end(), std::back_inserter(lines));
    if (rows >= 20 && !figures.empty()) lines.emplace_back();
    return lines;
}

std::vector<ScreenLine> MonitorPage::help(std::size_t columns, std::size_t rows) const {
    constexpr std::size_t keyColumns = 15;
    std::vector<ScreenLine> lines{{{clipped("Keys (any key goes back)", columns, characters_), Style::heading}}};
    for (const Help& each : helpLines) {
        const std::string key = clipped(TerminalText::padded(each.key, keyColumns), columns, characters_);
        lines.push_back({{key, Style::match},
                         {clipped(each.meaning, columns - std::min(columns, TerminalText::width(key)), characters_)}});
    }
    if (lines.size() > rows) lines.resize(rows);
    return lines;
}

MonitorPage::Answer MonitorPage::press(const ScreenKey& key, std::size_t columns, std::size_t rows) {
    using Kind = ScreenKey::Kind;
    if (key.kind == Kind::closed) return {.isOver = true};
    if (key.kind == Kind::none || key.kind == Kind::woken || key.kind == Kind::resized) return {};
    if (std::exchange(isHelp_, false)) return {};
    if (key.kind == Kind::character && !processes_.takesEveryKey()) {
        if (key.character == U'q' || key.character == U'Q') return {.isOver = true};
        if (key.character == U'?' || key.character == U'h') {
            isHelp_ = true;
            return {};
        }
    }
    const std::size_t above = top(columns, rows).size();
    processes_.resize(columns, rows - std::min(rows, above));
    ScreenKey inPane = key;
    if (key.kind == Kind::doubleClick) inPane.kind = Kind::click;
    if (inPane.kind == Kind::click) {
        if (key.row < above) return {};
        inPane.row -= above;
    }
    return {.isOver = false, .request = processes_.press(inPane)};
}

std::vector<ScreenLine> MonitorPage::lines(std::size_t columns, std::size_t rows) {
    if (isHelp_) return help(columns, rows);
    std::vector<ScreenLine> lines = top(columns, rows);
    processes_.resize(columns, rows - std::min(rows, lines.size()));
    std::vector<ScreenLine> below = processes_.lines();
    std::move(below.begin(), below.end(), std::back_inserter(lines));
    if (lines.size() > rows) lines.resize(rows);
    return lines;
}

}  // namespace KestrelCLI
