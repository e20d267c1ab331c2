#include "terminal/browse/SummaryPane.hpp"

#include "output/ByteFormat.hpp"
#include "output/TerminalText.hpp"
#include "terminal/PageText.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

using namespace KestrelCore;

namespace KestrelCLI {

namespace {

constexpr std::size_t headRows = 2;
constexpr std::size_t barColumns = 20;
constexpr std::size_t widthForBars = 76;
constexpr std::size_t widthForShares = 46;

std::string_view titleOf(SummaryGrouping grouping) {
    switch (grouping) {
    case SummaryGrouping::type: return "Files by type";
    case SummaryGrouping::extension: return "Files by extension";
    case SummaryGrouping::age: return "Files by age (since the last change)";
    case SummaryGrouping::depth: return "Files by depth (levels below this folder)";
    case SummaryGrouping::size: break;
    }
    return "Files by size on disk";
}

}  // namespace

SummaryPane::SummaryPane(const Session& session, Characters characters, Text folder, SummaryGrouping grouping)
    : session_{session}, characters_{characters}, question_{.folder = std::move(folder), .grouping = grouping} {}

void SummaryPane::take(std::uint64_t number, std::shared_ptr<const Summary> summary, std::string failure) {
    if (number != question_.number) return;
    summary_ = std::move(summary);
    failure_ = std::move(failure);
    cursor_.setCount(summary_ == nullptr ? 0 : summary_->rows.size());
    cursor_.choose(0);
}

void SummaryPane::resize(std::size_t columns, std::size_t rows) {
    columns_ = columns;
    rows_ = rows;
    cursor_.setRows(rows > headRows ? rows - headRows : 0);
}

void SummaryPane::setGrouping(SummaryGrouping grouping) {
    question_.grouping = grouping;
    summary_.reset();
    cursor_.setCount(0);
}

SummaryPane::Answer SummaryPane::press(const ScreenKey& key) {
    using Kind = ScreenKey::Kind;
    const auto group = [this](SummaryGrouping grouping) {
        setGrouping(grouping);
        return Answer{.isUsed = true, .isToAsk = true};
    };
    const auto open = [this] { return Answer{.isUsed = true, .isToOpen = chosenFilter().has_value()}; };
    switch (key.kind) {
    case Kind::enter:
    case Kind::right: return open();
    case Kind::escape:
    case Kind::backspace:
    case Kind::left: return {.isUsed = true, .isToClose = true};
    case Kind::tab: {
        const auto at = std::ranges::find(allSummaryGroupings, question_.grouping);
        return group(at + 1 == allSummaryGroupings.end() ? allSummaryGroupings.front() : *(at + 1));
    }
    case Kind::character:
        switch (key.character) {
        case U'e': return group(SummaryGrouping::type);
        case U'o': return group(SummaryGrouping::age);
        case U'l': return open();
        case U'h': return {.isUsed = true, .isToClose = true};
        default: break;
        }
        break;
    case Kind::click:
    case Kind::doubleClick: {
        if (key.row < headRows) return {.isUsed = true};
        ScreenKey moved = key;
        moved.kind = Kind::click;
        moved.row = key.row - headRows;
        (void)cursor_.press(moved);
        return key.kind == Kind::doubleClick ? open() : Answer{.isUsed = true};
    }
    default: break;
    }
    return {.isUsed = cursor_.press(key)};
}

std::optional<SearchFilter> SummaryPane::chosenFilter() const {
    if (summary_ == nullptr || summary_->rows.empty()) return std::nullopt;
    return summary_->filterFor(summary_->rows[cursor_.chosen()]);
}

std::string SummaryPane::chosenName() const {
    if (summary_ == nullptr || summary_->rows.empty()) return "";
    const SummaryRow& row = summary_->rows[cursor_.chosen()];
    return row.name.isEmpty() ? "without extension" : row.name.string();
}

std::vector<ScreenLine> SummaryPane::lines() const {
    std::vector<ScreenLine> lines;
    if (rows_ == 0) return lines;
    lines.push_back({{clipped(titleOf(question_.grouping), columns_, characters_), Style::heading}});
    if (rows_ < headRows) return lines;
    if (!failure_.empty() || summary_ == nullptr) {
        const std::string text = failure_.empty() ? "Adding up …" : TerminalText::escaped(failure_, characters_);
        lines.push_back({{clipped(text, columns_, characters_), failure_.empty() ? Style::quiet : Style::warning}});
        return lines;
    }
    lines.push_back(
        {{clipped(fmt::format("{} in {}", session_.size(summary_->all.bytes), ByteFormat::files(summary_->all.items)),
                  columns_, characters_),
          Style::quiet}});
    std::int64_t largest = 1;
    for (const SummaryRow& row : summary_->rows) largest = std::max(largest, row.bytes);
    for (std::size_t place = cursor_.first(); place < cursor_.end(); ++place) {
        const SummaryRow& row = summary_->rows[place];
        ScreenLine line;
        line.push_back(
            {"  " + TerminalText::padded(session_.size(row.bytes), session_.options.exactBytes ? 18 : 9, true) + "  ",
             Style::plain});
        if (columns_ >= widthForBars) {
            const double fraction = static_cast<double>(row.bytes) / static_cast<double>(largest);
            line.push_back(
                {TerminalText::padded(pageBar(fraction, barColumns, characters_), barColumns + 2), Style::bar});
        }
        if (columns_ >= widthForShares)
            line.push_back({TerminalText::padded(ByteFormat::share(row.bytes, summary_->all.bytes), 7, true) + "  ",
                            Style::quiet});
        const std::string name =
            row.name.isEmpty() ? "without extension" : TerminalText::escaped(row.name.view(), characters_);
        line.push_back({TerminalText::padded(name, 18) + "  ", Style::folder});
        line.push_back({ByteFormat::files(row.items), Style::quiet});
        if (place == cursor_.chosen()) line = chosenLine(line, columns_, characters_);
        lines.push_back(std::move(line));
    }
    return lines;
}

}  // namespace KestrelCLI
