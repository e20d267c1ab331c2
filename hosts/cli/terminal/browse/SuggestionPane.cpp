#include "terminal/browse/SuggestionPane.hpp"

#include "output/ByteFormat.hpp"
#include "output/TerminalText.hpp"
#include "terminal/PageText.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <string_view>
#include <utility>

// What can go below ~: 14.2 GB
// 3.10 GB regenerates, 9.00 GB downloads again, 2.10 GB is yours
//    6.20 GB  downloads again  Models that Hugging Face downloaded   12 items
//    ...
//
// Why: the chosen rule's reasons, as far as there is room

using namespace KestrelCore;

namespace KestrelCLI {

namespace {

constexpr std::size_t headRows = 2;
/// Lines for the reasons of the chosen rule, and of the list without which they are left out.
constexpr std::size_t reasonRows = 6;
constexpr std::size_t fewestListRows = 5;
constexpr std::size_t certaintyColumns = 15;
constexpr std::size_t widthForCertainty = 48;
constexpr std::size_t widthForCounts = 84;

Style styleOf(ReclaimCertainty certainty) {
    switch (certainty) {
    case ReclaimCertainty::regenerates: return Style::good;
    case ReclaimCertainty::downloadsAgain: return Style::plain;
    case ReclaimCertainty::yours: break;
    }
    return Style::warning;
}

bool areMarked(const SuggestionGroup& group, const BrowseMarks& marks) {
    return !group.items.empty() && std::ranges::all_of(group.items, [&](const SuggestedItem& item) {
        return marks.covers(item.record.path());
    });
}

}  // namespace

SuggestionPane::SuggestionPane(const Session& session, Characters characters, Text folder)
    : session_{session}, characters_{characters}, question_{.folder = std::move(folder)} {}

void SuggestionPane::take(std::uint64_t number, std::shared_ptr<const Suggestions> suggestions, std::string failure) {
    if (number != question_.number) return;
    suggestions_ = std::move(suggestions);
    failure_ = std::move(failure);
    cursor_.setCount(suggestions_ == nullptr ? 0 : suggestions_->groups.size());
    layOut();
}

void SuggestionPane::resize(std::size_t columns, std::size_t rows) {
    columns_ = columns;
    rows_ = rows;
    layOut();
}

/// The list has what the head and the reasons leave.
void SuggestionPane::layOut() {
    std::size_t room = rows_ > headRows ? rows_ - headRows : 0;
    if (room >= fewestListRows + reasonRows) room -= reasonRows;
    cursor_.setRows(room);
}

const SuggestionGroup* SuggestionPane::chosen() const {
    return suggestions_ == nullptr || suggestions_->groups.empty() ? nullptr : &suggestions_->groups[cursor_.chosen()];
}

SuggestionPane::Answer SuggestionPane::press(const ScreenKey& key) {
    using Kind = ScreenKey::Kind;
    const Answer open{.isUsed = true, .isToOpen = chosen() != nullptr};
    switch (key.kind) {
    case Kind::enter:
    case Kind::right: return open;
    case Kind::escape:
    case Kind::backspace:
    case Kind::left: return {.isUsed = true, .isToClose = true};
    case Kind::character:
        switch (key.character) {
        case U'l': return open;
        case U'h': return {.isUsed = true, .isToClose = true};
        case U' ': return {.isUsed = true, .isToMark = chosen() != nullptr};
        default: break;
        }
        break;
    case Kind::click:
    case Kind::doubleClick: {
        if (key.row < headRows) return {.isUsed = true};
        ScreenKey moved = key;
        moved.kind = Kind::click;
        moved.row = key.row - headRows;
        const bool isOnLine = cursor_.press(moved);
        return {.isUsed = true, .isToOpen = isOnLine && key.kind == Kind::doubleClick};
    }
    default: break;
    }
    return {.isUsed = cursor_.press(key)};
}

ScreenLine SuggestionPane::lineOf(const SuggestionGroup& group, const BrowseMarks& marks) const {
    ScreenLine line;
    line.push_back({areMarked(group, marks) ? (characters_ == Characters::unicode ? "● " : "* ") : "  ", Style::match});
    line.push_back(
        {TerminalText::padded(session_.size(group.freedBytes), session_.options.exactBytes ? 18 : 9, true) + "  ",
         Style::plain});
    if (columns_ >= widthForCertainty) {
        line.push_back({TerminalText::padded(rawValue(group.rule.certainty), certaintyColumns) + "  ",
                        styleOf(group.rule.certainty)});
    }
    std::size_t used = 0;
    for (const ScreenSpan& span : line) used += TerminalText::width(span.text);
    const std::string title = TerminalText::escaped(group.rule.title.view(), characters_);
    std::string count;
    if (columns_ >= widthForCounts) count = "  " + ByteFormat::items(group.itemCount);
    const std::size_t room = columns_ - std::min(columns_, used + count.size());
    line.push_back({TerminalText::padded(clipped(title, room, characters_), room), Style::folder});
    line.push_back({count, Style::quiet});
    return line;
}

/// Why what is chosen may go, how it comes back, and what its owner offers.
std::vector<ScreenLine> SuggestionPane::reasons() const {
    std::vector<ScreenLine> lines;
    const SuggestionGroup* const group = chosen();
    if (group == nullptr) return lines;
    const ReclaimRule& rule = group->rule;
    const auto add = [&](const std::string& text, Style style) {
        for (const std::string_view piece : TerminalText::wrapped(text, columns_)) {
            if (lines.size() < reasonRows) lines.push_back({{std::string{piece}, style}});
        }
    };
    lines.emplace_back();
    add(TerminalText::escaped(fmt::format("{} {}", rule.why.view(), rule.comesBack.view()), characters_), Style::plain);
    if (rule.ownersCommand)
        add(TerminalText::escaped("Its owner's way: " + rule.ownersCommand->string(), characters_), Style::quiet);
    return lines;
}

/// What comes back by itself apart from what does not.
std::string SuggestionPane::total() const {
    const std::int64_t yours = suggestions_->bytesOf(ReclaimCertainty::yours);
    const std::string others = session_.size(suggestions_->freedBytes - yours);
    return yours == 0 ? others : fmt::format("{}, and {} more if you say so", others, session_.size(yours));
}

std::vector<ScreenLine> SuggestionPane::lines(const BrowseMarks& marks) const {
    std::vector<ScreenLine> lines;
    if (rows_ == 0) return lines;
    const auto add = [&](std::string_view text, Style style) {
        lines.push_back({{clipped(text, columns_, characters_), style}});
    };
    const bool isThere = suggestions_ != nullptr;
    add(isThere ? "What can go: " + total() : "What can go", Style::heading);
    if (rows_ < headRows) return lines;
    if (!failure_.empty() || !isThere) {
        add(failure_.empty() ? "Looking through the scan …" : TerminalText::escaped(failure_, characters_),
            failure_.empty() ? Style::quiet : Style::warning);
        return lines;
    }
    if (suggestions_->groups.empty()) {
        add("Nothing that a rule knows of; f shows the largest files.", Style::quiet);
        return lines;
    }
    std::string sums;
    for (const ReclaimCertainty certainty : allReclaimCertainties) {
        const std::int64_t bytes = suggestions_->bytesOf(certainty);
        if (bytes == 0) continue;
        if (!sums.empty()) sums += ", ";
        sums += fmt::format("{} {}", session_.size(bytes), rawValue(certainty));
    }
    add(sums, Style::quiet);
    for (std::size_t place = cursor_.first(); place < cursor_.end(); ++place) {
        const ScreenLine line = lineOf(suggestions_->groups[place], marks);
        lines.push_back(place == cursor_.chosen() ? chosenLine(line, columns_, characters_) : line);
    }
    if (rows_ >= headRows + fewestListRows + reasonRows) {
        for (ScreenLine& line : reasons()) lines.push_back(std::move(line));
    }
    return lines;
}

}  // namespace KestrelCLI
