#include "terminal/browse/PlanPane.hpp"

#include "output/ByteFormat.hpp"
#include "output/ModelJSON.hpp"
#include "output/RiskStyle.hpp"
#include "output/TerminalText.hpp"
#include "output/UTF8.hpp"
#include "terminal/PageText.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <string_view>
#include <utility>

using namespace KestrelCore;

namespace KestrelCLI {

namespace {

constexpr std::size_t riskColumns = 9;
constexpr std::string_view confirmationWord = "DELETE";

}  // namespace

PlanPane::PlanPane(const Session& session, Characters characters, DeletionMode mode)
    : session_{session}, characters_{characters} {
    plan_.mode = mode;
}

void PlanPane::resize(std::size_t columns, std::size_t rows) {
    const bool isWider = columns != columns_;
    columns_ = columns;
    rows_ = rows;
    if (isWider) layOut();
}

void PlanPane::takePlan(BrowsePlan plan) {
    if (state_ != State::planning) return;
    plan_ = std::move(plan);
    state_ = State::asking;
    first_ = 0;
    layOut();
}

void PlanPane::takeProgress(std::size_t done) { done_ = done; }

void PlanPane::takeResults(BrowseResults results) {
    results_ = std::move(results);
    state_ = State::done;
    first_ = 0;
    layOut();
}

void PlanPane::takeFailure(std::string sentence) {
    failure_ = std::move(sentence);
    state_ = State::done;
    layOut();
}

/// An item in as many lines as it needs: what is agreed to must be seen whole.
void PlanPane::addItem(const std::string& size, const std::string& risk, Style riskStyle, const std::string& path,
                       const std::string& note, Style noteStyle) {
    const std::size_t sizeColumns = size.empty() ? 0 : session_.options.exactBytes ? 20 : 11;
    const std::size_t before = size.empty() ? 2 : sizeColumns + riskColumns + 2;
    const bool fits = columns_ >= before + 20;
    const std::size_t indent = fits ? before : 2;
    if (!fits && !size.empty()) text_.push_back({{size + "  " + risk, riskStyle}});
    bool isFirst = fits;
    for (const std::string_view piece : TerminalText::wrapped(path, columns_ > indent ? columns_ - indent : 1)) {
        ScreenLine line;
        if (isFirst && !size.empty()) {
            line.push_back({TerminalText::padded(size, sizeColumns, true) + "  ", Style::plain});
            line.push_back({TerminalText::padded(risk, riskColumns), riskStyle});
        } else {
            line.push_back({std::string(indent, ' '), Style::plain});
        }
        isFirst = false;
        line.push_back({std::string{piece}, note.empty() ? Style::plain : Style::quiet});
        text_.push_back(std::move(line));
    }
    if (note.empty()) return;
    const std::size_t deeper = indent + 2;
    for (const std::string_view piece : TerminalText::wrapped(note, columns_ > deeper ? columns_ - deeper : 1))
        text_.push_back({{std::string(deeper, ' '), Style::plain}, {std::string{piece}, noteStyle}});
}

void PlanPane::layOut() {
    text_.clear();
    if (state_ == State::done) {
        if (!failure_.empty()) {
            const std::string failure = TerminalText::escaped(failure_, characters_);
            for (const std::string_view piece : TerminalText::wrapped(failure, columns_))
                text_.push_back({{std::string{piece}, Style::bad}});
        }
        for (const BrowseResults::Item& item : results_.items) {
            addItem("", "", Style::plain, session_.shownPath(item.path.view()),
                    TerminalText::escaped(item.message, characters_), item.hasSucceeded ? Style::quiet : Style::bad);
        }
        return;
    }
    for (const BrowsePlan::Item& item : plan_.items) {
        addItem(item.bytes ? session_.size(*item.bytes) : "-", std::string{nameOf(item.risk)}, styleOf(item.risk),
                session_.shownPath(item.path.view()),
                item.refusal.empty() ? "" : "Stays: " + TerminalText::escaped(item.refusal, characters_),
                Style::warning);
    }
}

PlanPane::Answer PlanPane::press(const ScreenKey& key) {
    using Kind = ScreenKey::Kind;
    const std::size_t around = 2 + foot().size();
    const std::size_t room = rows_ > around ? rows_ - around : 1;
    const std::size_t last = text_.size() > room ? text_.size() - room : 0;
    switch (key.kind) {
    case Kind::up:
    case Kind::wheelUp: first_ -= std::min<std::size_t>(first_, 1); return {};
    case Kind::down:
    case Kind::wheelDown: first_ = std::min(last, first_ + 1); return {};
    case Kind::pageUp: first_ -= std::min(first_, room); return {};
    case Kind::pageDown: first_ = std::min(last, first_ + room); return {};
    case Kind::home: first_ = 0; return {};
    case Kind::end: first_ = last; return {};
    default: break;
    }
    if (state_ == State::acting) {
        // What has begun is stopped, and then shown.
        return {key.kind == Kind::escape ? Answer::Kind::stop : Answer::Kind::none};
    }
    if (key.kind == Kind::none || key.kind == Kind::resized || key.kind == Kind::click) return {};
    // A yes to what is not shown yet is none.
    if (state_ == State::planning) return {key.kind == Kind::escape ? Answer::Kind::close : Answer::Kind::none};
    if (state_ == State::done || plan_.going == 0) {
        const bool isHighRisk = key.kind == Kind::character && key.character == U'h' && state_ == State::asking;
        if (isHighRisk && (plan_.hasHighRisk || plan_.includesHighRisk)) {
            state_ = State::planning;
            return {Answer::Kind::planHighRisk};
        }
        return {Answer::Kind::close};
    }
    const auto begin = [this] {
        state_ = State::acting;
        return Answer{Answer::Kind::carryOut};
    };
    if (key.kind == Kind::escape) return {Answer::Kind::close};
    if (isForGood()) {
        switch (key.kind) {
        case Kind::character:
            if (typed_.empty() && key.character == U'h' && (plan_.hasHighRisk || plan_.includesHighRisk)) {
                state_ = State::planning;
                return {Answer::Kind::planHighRisk};
            }
            if (typed_.size() < 24) typed_ += utf8Of(key.character);
            return {};
        case Kind::backspace:
            if (typed_.empty()) return {Answer::Kind::close};
            eraseLastCharacter(typed_);
            return {};
        case Kind::enter:
            if (typed_.empty()) return {Answer::Kind::close};
            // The library compares the word itself, and would tell so of each item.
            if (typed_ == confirmationWord) return begin();
            isOtherWord_ = true;
            typed_.clear();
            return {};
        default: return {};
        }
    }
    if (key.kind != Kind::character) return {Answer::Kind::close};
    if (key.character == U'h' && (plan_.hasHighRisk || plan_.includesHighRisk)) {
        state_ = State::planning;
        return {Answer::Kind::planHighRisk};
    }
    // Whatever else is pressed is the careful answer.
    return key.character == U'y' || key.character == U'Y' ? begin() : Answer{Answer::Kind::close};
}

/// What is being taken away now: results come in the order of the plan.
const BrowsePlan::Item* PlanPane::current() const {
    std::size_t before = done_;
    for (const BrowsePlan::Item& item : plan_.items) {
        if (item.refusal.empty() && before-- == 0) return &item;
    }
    return nullptr;
}

/// The question, or how far it is.
std::vector<ScreenLine> PlanPane::foot() const {
    std::vector<ScreenLine> lines;
    const auto add = [&](std::string_view text, Style style) {
        for (const std::string_view piece : TerminalText::wrapped(text, columns_))
            lines.push_back({{std::string{piece}, style}});
    };
    switch (state_) {
    case State::planning: add("Looking at what would go …  (Esc leaves everything as it is)", Style::quiet); break;
    case State::asking: {
        for (const std::string& remark : plan_.remarks) add(TerminalText::escaped(remark, characters_), Style::warning);
        if (plan_.unread > 0)
            add(fmt::format("{} could not be looked at; the sizes leave out what is there.",
                            ByteFormat::items(plan_.unread)),
                Style::warning);
        if (plan_.hasHighRisk && !plan_.includesHighRisk) add("h lets items of high risk go, too.", Style::quiet);
        if (plan_.going == 0) {
            add("Nothing of this can go. Any key goes back.", Style::heading);
            break;
        }
        const std::string amount = ByteFormat::items(plan_.going);
        const std::string size = session_.size(plan_.freedBytes);
        if (isForGood()) {
            if (isOtherWord_) add("The word is DELETE, in capital letters; nothing was removed.", Style::warning);
            add(fmt::format("Type DELETE to remove {} for good ({} come free), Esc to leave everything: {}_", amount,
                            size, typed_),
                Style::bad);
        } else {
            add("It counts as used until the Trash is emptied; D on the list frees it at once.", Style::quiet);
            add(fmt::format("Move {} ({}) to the Trash? [y/N]", amount, size), Style::warning);
        }
        break;
    }
    case State::acting: {
        add(fmt::format("{} of {} done  (Esc stops)", done_, plan_.going), Style::heading);
        if (const BrowsePlan::Item* const item = current())
            lines.push_back(
                {{fitted("Now: " + session_.shownPath(item->path.view()), columns_, characters_), Style::quiet}});
        break;
    }
    case State::done:
        if (!results_.summary.empty()) add(results_.summary, Style::heading);
        add("Any key goes back.", Style::quiet);
        break;
    }
    return lines;
}

std::vector<ScreenLine> PlanPane::lines() const {
    std::vector<ScreenLine> foot = this->foot();
    std::vector<ScreenLine> lines;
    const auto title = [this] {
        if (state_ == State::done && results_.gone.empty()) return "What became of it";
        if (state_ == State::done) return isForGood() ? "Removed for good" : "Moved to the Trash";
        return isForGood() ? "Remove for good" : "Move to the Trash";
    };
    // Where there is hardly room the question comes first.
    if (rows_ > foot.size() + 2) {
        lines.push_back({{clipped(title(), columns_, characters_), Style::heading}});
        lines.emplace_back();
    }
    const std::size_t room = rows_ - std::min(rows_, lines.size() + foot.size());
    for (std::size_t index = first_; index < text_.size() && index - first_ < room; ++index)
        lines.push_back(text_[index]);
    while (lines.size() + foot.size() < rows_) lines.emplace_back();
    for (ScreenLine& line : foot) lines.push_back(std::move(line));
    if (lines.size() > rows_) lines.erase(lines.begin(), lines.end() - static_cast<std::ptrdiff_t>(rows_));
    return lines;
}

}  // namespace KestrelCLI
