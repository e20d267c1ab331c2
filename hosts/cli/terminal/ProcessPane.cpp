#include "terminal/ProcessPane.hpp"

#include "output/TerminalText.hpp"
#include "output/UTF8.hpp"

#include "KestrelCore/Metrics/SystemMetrics.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <set>
#include <utility>

// The lines of the pane:
//
//         PID  user      CPU %     memory    read/s   written/s  name             command line
//        4711  ann        98.2    1.20 GB       0 B     12.0 kB  ffmpeg           ffmpeg -i a.mkv b.mp4
//     …
//     212 threads of the kernel are folded (k shows them)
//     c m n d sort  t tree  / filter  Del quit  Space freeze
//
// Columns fold away where the page is narrow. The chosen process is known by its identifier: the list may move under
// it.

namespace KestrelCLI {

using namespace KestrelCore;

namespace {

constexpr std::size_t widthForUser = 64;
constexpr std::size_t widthForCommand = 80;
constexpr std::size_t widthForDisk = 100;
constexpr std::size_t widthForThreads = 130;
constexpr std::size_t nameColumns = 18;
constexpr std::ptrdiff_t wheelStep = 3;

std::string described(const ProcessSample& process) { return fmt::format("{} ({})", process.name.view(), process.id); }

std::string optionalSize(const Session& session, const std::optional<std::int64_t>& bytes) {
    return bytes ? session.size(*bytes) : std::string{"-"};
}

}  // namespace

ProcessPane::ProcessPane(const Session& session, Characters characters, std::int32_t ownIdentifier,
                         ProcessPaneOptions options)
    : session_{session}, characters_{characters}, ownIdentifier_{ownIdentifier}, options_{std::move(options)} {}

void ProcessPane::setRows(std::vector<ProcessRow> rows) {
    rows_ = std::move(rows);
    // An identifier that another process has by now was asked nothing.
    std::erase_if(asked_, [this](const auto& asked) {
        return std::ranges::none_of(rows_, [&asked](const ProcessRow& row) {
            return row.sample.id == asked.first && row.description.startedAt == asked.second;
        });
    });
    // Nor is one to be signalled that has the identifier of the one that the question was about.
    const auto isAskedAbout = [this](const ProcessRow& row) {
        return row.sample.id == question_->request.process.id && row.description.startedAt == question_->startedAt;
    };
    if (question_ && std::ranges::none_of(rows_, isAskedAbout)) question_.reset();
    arrange();
}

void ProcessPane::resize(std::size_t columns, std::size_t rows) {
    columns_ = columns;
    pageRows_ = rows;
    keepInView();
}

void ProcessPane::setMessage(std::string message, Style style) { message_ = Message{std::move(message), style}; }

void ProcessPane::note(const ProcessRequest& request) {
    if (request.kind != ProcessRequest::Kind::quit) return;
    const auto row =
        std::ranges::find(rows_, request.process.id, [](const ProcessRow& each) { return each.sample.id; });
    if (row != rows_.end()) asked_.insert_or_assign(request.process.id, row->description.startedAt);
}

/// Finds out anew what is shown and in which order.
void ProcessPane::arrange() {
    sortProcesses(rows_, options_.order);
    ProcessFilter filter = options_.filter;
    for (std::string& word : wordsOf(typed_)) filter.words.push_back(std::move(word));
    foldedKernelThreads_ = 0;
    std::vector<ProcessRow> kept;
    std::vector<std::size_t> places;
    for (std::size_t row = 0; row < rows_.size(); ++row) {
        if (!filter.matches(rows_[row])) continue;
        if (rows_[row].description.isKernelThread && !showsKernelThreads_) {
            ++foldedKernelThreads_;
            continue;
        }
        places.push_back(row);
    }
    shown_.clear();
    if (options_.isTree) {
        for (const std::size_t place : places) kept.push_back(rows_[place]);
        shown_ = processTree(kept, characters_ == Characters::unicode);
        for (TreePlace& place : shown_) place.row = places[place.row];
    } else {
        for (const std::size_t place : places) shown_.push_back({place, {}});
    }
    if (options_.limit && shown_.size() > *options_.limit) shown_.resize(*options_.limit);

    const auto chosen = std::ranges::find_if(
        shown_, [this](const TreePlace& place) { return chosen_ && rows_[place.row].sample.id == *chosen_; });
    if (chosen != shown_.end()) {
        position_ = static_cast<std::size_t>(chosen - shown_.begin());
    } else {
        // Never the next one in its place: a key that is on its way was meant for this one.
        chosen_.reset();
    }
    keepInView();
}

/// Rows for processes: without the heading, the line of what is folded and the foot, as far as there is room for them.
std::size_t ProcessPane::listRows() const {
    const std::size_t others = pageRows_ >= 4 ? (foldedKernelThreads_ > 0 ? 3 : 2) : pageRows_ > 1 ? 1 : 0;
    return pageRows_ - std::min(others, pageRows_);
}

void ProcessPane::keepInView() {
    const std::size_t rows = listRows();
    if (shown_.empty() || rows == 0) {
        first_ = 0;
        return;
    }
    position_ = std::min(position_, shown_.size() - 1);
    if (chosen_) first_ = std::clamp(first_, position_ + 1 > rows ? position_ + 1 - rows : 0, position_);
    first_ = std::min(first_, shown_.size() > rows ? shown_.size() - rows : 0);
}

void ProcessPane::choose(std::size_t line) {
    if (line >= shown_.size()) return;
    position_ = line;
    chosen_ = rows_[shown_[line].row].sample.id;
    keepInView();
}

void ProcessPane::move(std::ptrdiff_t by) {
    if (shown_.empty()) return;
    // The first key chooses what is at the top of the page.
    if (!chosen_) return choose(by > 0 && by < static_cast<std::ptrdiff_t>(shown_.size()) ? first_ : position_);
    const auto last = static_cast<std::ptrdiff_t>(shown_.size()) - 1;
    choose(static_cast<std::size_t>(std::clamp<std::ptrdiff_t>(static_cast<std::ptrdiff_t>(position_) + by, 0, last)));
}

const ProcessRow* ProcessPane::chosenRow() const {
    return chosen_ && position_ < shown_.size() ? &rows_[shown_[position_].row] : nullptr;
}

bool ProcessPane::isOwnAncestor(std::int32_t identifier) const {
    std::set<std::int32_t> seen;  // parents may be in a circle between two readings
    for (std::int32_t at = ownIdentifier_; at > 0 && seen.insert(at).second;) {
        if (at == identifier) return true;
        const auto row = std::ranges::find(rows_, at, [](const ProcessRow& each) { return each.sample.id; });
        at = row == rows_.end() ? 0 : row->description.parentId;
    }
    return false;
}

void ProcessPane::askToQuit() {
    const ProcessRow* const row = chosenRow();
    if (row == nullptr) return setMessage("Choose a process first, with the arrow keys or the mouse.", Style::plain);
    if (asked_.contains(row->sample.id)) {
        question_ =
            Question{{ProcessRequest::Kind::forceQuit, row->sample},
                     fmt::format("{} was asked to quit and still runs. End it by force? It can't save anything. [y/N]",
                                 described(row->sample)),
                     row->description.startedAt};
    } else {
        question_ = Question{{ProcessRequest::Kind::quit, row->sample},
                             fmt::format("Ask {} to quit? [y/N]", described(row->sample)),
                             row->description.startedAt};
    }
}

ProcessRequest ProcessPane::freezeOrResume() {
    const ProcessRow* const row = chosenRow();
    if (row == nullptr) {
        setMessage("Choose a process first, with the arrow keys or the mouse.", Style::plain);
        return {};
    }
    if (row->description.isFrozen) return {ProcessRequest::Kind::resume, row->sample};
    if (isOwnAncestor(row->sample.id)) {
        setMessage(fmt::format("This page runs below {}: frozen, neither could go on.", described(row->sample)),
                   Style::warning);
        return {};
    }
    return {ProcessRequest::Kind::freeze, row->sample};
}

void ProcessPane::typeInFilter(const ScreenKey& key) {
    switch (key.kind) {
    case ScreenKey::Kind::character: typed_ += utf8Of(key.character); break;
    case ScreenKey::Kind::backspace: eraseLastCharacter(typed_); break;
    case ScreenKey::Kind::escape: typed_.clear(); [[fallthrough]];
    case ScreenKey::Kind::enter: isTyping_ = false; break;
    default: return;
    }
    arrange();
}

void ProcessPane::pressCharacter(char32_t character) {
    switch (character) {
    case U'c': options_.order = ProcessOrder::cpu; break;
    case U'm': options_.order = ProcessOrder::memory; break;
    case U'n': options_.order = ProcessOrder::name; break;
    case U'd': options_.order = ProcessOrder::disk; break;
    case U't': options_.isTree = !options_.isTree; break;
    case U'k': showsKernelThreads_ = !showsKernelThreads_; break;
    case U'/': isTyping_ = true; return;
    default: return;
    }
    // Another order shows its beginning, unless a process is being followed.
    if (!chosen_) first_ = 0;
    arrange();
}

ProcessRequest ProcessPane::pressInList(const ScreenKey& key) {
    const auto page = static_cast<std::ptrdiff_t>(std::max<std::size_t>(1, listRows()));
    const auto all = static_cast<std::ptrdiff_t>(shown_.size());
    switch (key.kind) {
    case ScreenKey::Kind::up: move(-1); break;
    case ScreenKey::Kind::down: move(1); break;
    case ScreenKey::Kind::pageUp: move(-page); break;
    case ScreenKey::Kind::pageDown: move(page); break;
    case ScreenKey::Kind::home: choose(0); break;
    case ScreenKey::Kind::end:
        if (all > 0) choose(shown_.size() - 1);
        break;
    case ScreenKey::Kind::wheelUp: move(-wheelStep); break;
    case ScreenKey::Kind::wheelDown: move(wheelStep); break;
    case ScreenKey::Kind::click:
        // Below the heading.
        if (pageRows_ > 1 && key.row >= 1 && key.row - 1 < listRows()) choose(first_ + key.row - 1);
        break;
    case ScreenKey::Kind::remove: askToQuit(); break;
    case ScreenKey::Kind::escape:
        typed_.clear();
        chosen_.reset();
        arrange();
        break;
    case ScreenKey::Kind::character:
        if (key.character == U' ') return freezeOrResume();
        pressCharacter(key.character);
        break;
    default: break;
    }
    return {};
}

ProcessRequest ProcessPane::press(const ScreenKey& key) {
    if (key.kind == ScreenKey::Kind::none || key.kind == ScreenKey::Kind::resized) return {};
    if (question_) {
        const Question asked = *std::exchange(question_, std::nullopt);
        // Whatever else is pressed is the careful answer.
        const bool isYes = key.kind == ScreenKey::Kind::character && (key.character == U'y' || key.character == U'Y');
        return isYes ? asked.request : ProcessRequest{};
    }
    message_.reset();
    if (isTyping_ && key.kind != ScreenKey::Kind::up && key.kind != ScreenKey::Kind::down) {
        typeInFilter(key);
        return {};
    }
    return pressInList(key);
}

// ---- What is shown -------------------------------------------------------------------------------------------------

ScreenLine ProcessPane::heading() const {
    ScreenLine line;
    std::size_t used = 0;
    const auto add = [&](const std::string& title, bool isOrder) {
        const std::string text = clipped(title, columns_ - std::min(columns_, used), characters_);
        used += TerminalText::width(text);
        line.push_back({text, isOrder ? Style::heading : Style::quiet});
    };
    const ProcessOrder order = options_.order;
    add("    PID  ", false);
    if (columns_ >= widthForUser) add("user      ", false);
    add("CPU %  ", order == ProcessOrder::cpu);
    add("   memory  ", order == ProcessOrder::memory);
    if (columns_ >= widthForDisk) add("   read/s   written/s  ", order == ProcessOrder::disk);
    if (columns_ >= widthForThreads) add("threads  ", false);
    add(columns_ >= widthForCommand && !options_.isTree ? TerminalText::padded("name", nameColumns + 2) : "name  ",
        order == ProcessOrder::name);
    if (columns_ >= widthForCommand) add("command line", false);
    return line;
}

ScreenLine ProcessPane::lineOf(const TreePlace& place) const {
    const ProcessRow& row = rows_[place.row];
    std::string text = fmt::format("{:>7}  ", row.sample.id);
    if (columns_ >= widthForUser) {
        const std::string user = row.description.user ? TerminalText::escaped(row.description.user->view()) : "";
        text += TerminalText::padded(fitted(user, 8, characters_), 10);
    }
    text += fmt::format("{:>5.1f}  {:>9}  ", row.sample.cpuPercent, session_.size(row.sample.residentBytes));
    if (columns_ >= widthForDisk) {
        text += fmt::format("{:>9}   {:>9}  ", optionalSize(session_, row.description.readBytesPerSecond),
                            optionalSize(session_, row.description.writtenBytesPerSecond));
    }
    if (columns_ >= widthForThreads) text += fmt::format("{:>7}  ", row.sample.threadCount);
    text = clipped(text, columns_, characters_);

    const std::size_t room = columns_ - std::min(columns_, TerminalText::width(text));
    std::string name = place.prefix + TerminalText::escaped(row.sample.name.view());
    if (row.description.isFrozen) name += " (frozen)";
    std::string command;
    if (columns_ >= widthForCommand && row.description.commandLine) {
        // A tree takes the room it needs, for else it could not be seen.
        name =
            TerminalText::padded(options_.isTree ? name : fitted(name, nameColumns, characters_), nameColumns) + "  ";
        command = TerminalText::escaped(row.description.commandLine->view());
    }
    name = clipped(name, room, characters_);
    command = clipped(command, room - std::min(room, TerminalText::width(name)), characters_);
    if (chosen_ && *chosen_ == row.sample.id) {
        return {{TerminalText::padded(text + name + command, columns_), Style::selected}};
    }
    const Style style = row.description.isFrozen ? Style::warning : Style::plain;
    return {{text, style}, {name, style}, {command, Style::quiet}};
}

/// The last line: a question, what is typed, what came of the last key, or what keys there are.
ScreenLine ProcessPane::foot() const {
    const auto line = [this](std::string_view text, Style style) -> ScreenLine {
        return {{clipped(text, columns_, characters_), style}};
    };
    if (question_) {
        // The end matters most: a long name is what gives way.
        return {{fitted(TerminalText::escaped(question_->text), columns_, characters_), Style::warning}};
    }
    if (isTyping_)
        return line(fmt::format("Filter: {}_  (Enter keeps it, Esc clears it)", TerminalText::escaped(typed_)),
                    Style::heading);
    if (message_) return line(TerminalText::escaped(message_->text), message_->style);
    // Whole keys only, and the one that tells all of them last.
    constexpr std::string_view help = "? help";
    std::string keys;
    if (!typed_.empty()) keys = fmt::format("Only “{}” (Esc shows all)  ", TerminalText::escaped(typed_));
    for (const std::string_view key : {"c m n d sort", "t tree", "/ filter", "Del quit", "Space freeze"}) {
        if (TerminalText::width(keys) + key.size() + 2 + help.size() > columns_) break;
        keys += fmt::format("{}  ", key);
    }
    return line(keys.append(help), Style::quiet);
}

std::vector<ScreenLine> ProcessPane::lines() const {
    std::vector<ScreenLine> lines;
    if (pageRows_ == 0) return lines;
    if (pageRows_ > 1) lines.push_back(heading());
    const std::size_t rows = listRows();
    const std::size_t end = std::min(shown_.size(), first_ + rows);
    for (std::size_t index = first_; index < end; ++index) lines.push_back(lineOf(shown_[index]));
    if (shown_.empty() && !rows_.empty() && rows > 0) {
        lines.push_back({{clipped("No process matches.", columns_, characters_), Style::quiet}});
    }
    if (pageRows_ < 4) {
        // A question must be seen wherever it is asked.
        if (takesEveryKey() && !lines.empty()) lines.back() = foot();
        return lines;
    }
    // The foot stays at the bottom.
    const std::size_t below = foldedKernelThreads_ > 0 ? 2 : 1;
    while (lines.size() + below < pageRows_) lines.emplace_back();
    if (foldedKernelThreads_ > 0) {
        lines.push_back(
            {{clipped(fmt::format("{} thread{} of the kernel {} folded (k shows {})", foldedKernelThreads_,
                                  foldedKernelThreads_ == 1 ? "" : "s", foldedKernelThreads_ == 1 ? "is" : "are",
                                  foldedKernelThreads_ == 1 ? "it" : "them"),
                      columns_, characters_),
              Style::quiet}});
    }
    lines.push_back(foot());
    return lines;
}

}  // namespace KestrelCLI
