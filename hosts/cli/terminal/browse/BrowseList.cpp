#include "terminal/browse/BrowseList.hpp"

#include "output/ByteFormat.hpp"
#include "output/GrowthTree.hpp"
#include "output/TerminalText.hpp"
#include "output/Times.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <limits>
#include <string>
#include <string_view>
#include <utility>

using namespace KestrelCore;

namespace KestrelCLI {

namespace {

// Widths of columns without the two blanks between them.
constexpr std::size_t markColumns = 2;
constexpr std::size_t barColumns = 10;
constexpr std::size_t itemColumns = 9;
constexpr std::size_t changeColumns = 9;
constexpr std::size_t dateColumns = 10;
constexpr std::size_t gap = 2;
/// A name has at least that many before another column gets any.
constexpr std::size_t enoughForNames = 24;

/// What kind of item it is, behind its name, as `ls -F` shows it.
std::string_view kindMark(FileKind kind) {
    switch (kind) {
    case FileKind::directory:
    case FileKind::package: return "/";
    case FileKind::symbolicLink: return "@";
    case FileKind::file:
    case FileKind::other: break;
    }
    return "";
}

Style styleOf(const FileRecord& record) {
    if (record.isContainer()) return Style::folder;
    return record.isHidden() ? Style::quiet : Style::file;
}

}  // namespace

// ---- What is shown, and in which order -----------------------------------------------------------------------------

void BrowseList::setFolder(std::shared_ptr<const BrowseFolder> folder) {
    const bool isSame = folder_ != nullptr && folder != nullptr && folder_->path == folder->path;
    const BrowseItem* const before = isSame ? chosen() : nullptr;
    const std::optional<Text> name = before != nullptr ? std::optional{before->record().name()} : std::nullopt;
    const std::size_t place = cursor_.chosen();
    folder_ = std::move(folder);
    ranks_.clear();
    arrange();
    // What was chosen may be gone; then its place is the next best, as in any list that gets shorter.
    if (!isSame) isChosen_ = false;
    if (!isChosen_) {
        cursor_.choose(0);
    } else if (!name || !choose(*name)) {
        cursor_.choose(place);
    }
}

void BrowseList::setNameOrder(std::vector<std::uint32_t> ranks) {
    if (folder_ == nullptr || ranks.size() != folder_->items.size()) return;
    const std::optional<std::size_t> before = chosenIndex();
    ranks_ = std::move(ranks);
    arrange();
    if (!isChosen_) return cursor_.choose(0);
    if (before) chooseIndex(*before);
}

bool BrowseList::choose(const Text& name) {
    for (std::size_t place = 0; place < shown_.size(); ++place) {
        if (item(place).record().name() == name) {
            choosePlace(place);
            return true;
        }
    }
    return false;
}

void BrowseList::resize(std::size_t columns, std::size_t rows) {
    columns_ = columns;
    rows_ = rows;
    // A heading over nothing helps nobody.
    cursor_.setRows(rows > 1 ? rows - 1 : rows);
}

void BrowseList::sortBy(BrowseOrder order) {
    isReversed_ = order == order_ && !isReversed_;
    order_ = order;
    arrange();
    cursor_.choose(0);
}

void BrowseList::setSizeKind(SizeKind kind) {
    sizeKind_ = kind;
    const BrowseItem* const before = chosen();
    arrange();
    if (before != nullptr) choose(before->record().name());
}

void BrowseList::showHidden(bool isShown) {
    const BrowseItem* const before = chosen();
    showsHidden_ = isShown;
    arrange();
    if (before != nullptr) choose(before->record().name());
}

const BrowseItem* BrowseList::chosen() const { return shown_.empty() ? nullptr : &item(cursor_.chosen()); }

std::optional<std::size_t> BrowseList::chosenIndex() const {
    return shown_.empty() ? std::nullopt : std::optional<std::size_t>{shown_[cursor_.chosen()]};
}

void BrowseList::chooseIndex(std::size_t index) {
    const auto place = std::ranges::find(shown_, index);
    if (place != shown_.end()) choosePlace(static_cast<std::size_t>(place - shown_.begin()));
}

std::size_t BrowseList::hiddenCount() const { return folder_ == nullptr ? 0 : folder_->items.size() - shown_.size(); }

/// What stands higher has more of this; names tell apart what is equal, so that an order never depends on the one
/// before. A number beside its item sorts several times faster than items that are looked up with each comparison.
std::int64_t BrowseList::sortKey(const BrowseItem& item) const {
    constexpr std::int64_t unknown = std::numeric_limits<std::int64_t>::min();
    switch (order_) {
    case BrowseOrder::size: return item.bytes(sizeKind_);
    case BrowseOrder::items: return item.entry.below.items;
    case BrowseOrder::change: return item.change.value_or(unknown);
    case BrowseOrder::modified: {
        const std::optional<Date> date = item.record().modifiedAt();
        // Milliseconds within what a count can hold; no date on a disk comes near the bounds.
        return date ? static_cast<std::int64_t>(std::clamp(date->secondsSince1970() * 1e3, -9e18, 9e18)) : unknown;
    }
    case BrowseOrder::name: break;
    }
    return 0;
}

void BrowseList::arrange() {
    shown_.clear();
    largest_ = 0;
    if (folder_ == nullptr) return cursor_.setCount(0);
    struct Place {
        std::int64_t key;
        std::uint32_t rank;
        std::uint32_t index;
    };
    std::vector<Place> places;
    places.reserve(folder_->items.size());
    for (std::uint32_t index = 0; index < folder_->items.size(); ++index) {
        const BrowseItem& item = folder_->items[index];
        if (!showsHidden_ && item.record().isHidden()) continue;
        places.push_back({sortKey(item), ranks_.empty() ? index : ranks_[index], index});
        largest_ = std::max(largest_, item.bytes(sizeKind_));
    }
    std::ranges::sort(places,
                      [](const Place& a, const Place& b) { return a.key == b.key ? a.rank < b.rank : a.key > b.key; });
    shown_.reserve(places.size());
    for (const Place& place : places) shown_.push_back(place.index);
    if (isReversed_) std::ranges::reverse(shown_);
    cursor_.setCount(shown_.size());
}

// ---- Lines ---------------------------------------------------------------------------------------------------------

BrowseList::Layout BrowseList::layout() const {
    // Bytes to the last one may have sixteen digits with their unit.
    Layout layout{.size = session_.options.exactBytes ? std::size_t{18} : std::size_t{9}};
    const std::size_t always = markColumns + layout.size + 1 + 1;
    std::size_t left = columns_ > always ? columns_ - always : 0;
    const auto give = [&](std::size_t& column, std::size_t width) {
        if (column > 0 || left < width + gap + enoughForNames) return;
        column = width;
        left -= width + gap;
    };
    const bool knowsChanges = folder_ != nullptr && folder_->knowsChanges;
    const std::size_t change = session_.options.exactBytes ? layout.size : changeColumns;
    // What it is sorted by is seen first.
    if (order_ == BrowseOrder::items) give(layout.items, itemColumns);
    if (order_ == BrowseOrder::modified) give(layout.modified, dateColumns);
    if (order_ == BrowseOrder::change && knowsChanges) give(layout.change, change);
    give(layout.bar, barColumns);
    if (knowsChanges) give(layout.change, change);
    give(layout.items, itemColumns);
    give(layout.modified, dateColumns);
    layout.name = left;
    return layout;
}

ScreenLine BrowseList::heading(const Layout& layout) const {
    ScreenLine line;
    std::size_t used = 0;
    const auto add = [&](std::string_view title, std::size_t width, bool isRight, BrowseOrder order) {
        if (width == 0) return;
        std::string text{title};
        if (order == order_)
            text += isReversed_ != (order == BrowseOrder::name) ? (characters_ == Characters::unicode ? "▲" : "^")
                                                                : (characters_ == Characters::unicode ? "▼" : "v");
        const std::string padded =
            clipped(TerminalText::padded(text, width, isRight), columns_ - std::min(used, columns_), characters_);
        used += TerminalText::width(padded);
        line.push_back({padded, order == order_ ? Style::heading : Style::quiet});
    };
    add(sizeKind_ == SizeKind::disk ? "size" : "length", markColumns + layout.size, true, BrowseOrder::size);
    line.push_back({"  ", Style::plain});
    used += 2;
    if (layout.bar > 0) {
        line.push_back({std::string(layout.bar + gap, ' '), Style::plain});
        used += layout.bar + gap;
    }
    const auto addGap = [&](std::size_t column) {
        if (column == 0) return;
        line.push_back({std::string(gap, ' '), Style::plain});
        used += gap;
    };
    add("items", layout.items, true, BrowseOrder::items);
    addGap(layout.items);
    add("change", layout.change, true, BrowseOrder::change);
    addGap(layout.change);
    add("modified", layout.modified, false, BrowseOrder::modified);
    addGap(layout.modified);
    add("name", layout.name, false, BrowseOrder::name);
    return line;
}

ScreenLine BrowseList::lineOf(const BrowseItem& item, const Layout& layout, bool isMarked, bool isChosen) const {
    const FileRecord& record = item.record();
    const std::int64_t bytes = item.bytes(sizeKind_);
    ScreenLine line;
    line.push_back({isMarked ? (characters_ == Characters::unicode ? "● " : "* ") : "  ", Style::match});
    // A plus behind a size: more may come.
    line.push_back(
        {TerminalText::padded(session_.size(bytes), layout.size, true) + (item.entry.isComplete ? " " : "+") + ' ',
         Style::plain});
    if (layout.bar > 0) {
        const double fraction = largest_ > 0 ? static_cast<double>(bytes) / static_cast<double>(largest_) : 0;
        line.push_back(
            {TerminalText::padded(pageBar(fraction, layout.bar, characters_), layout.bar + gap), Style::bar});
    }
    std::string columns;
    if (layout.items > 0) {
        const std::string items = record.isContainer() ? ByteFormat::count(item.entry.below.items) : "";
        columns += TerminalText::padded(items, layout.items, true) + "  ";
    }
    if (!columns.empty()) line.push_back({columns, Style::quiet});
    if (layout.change > 0) {
        const bool isChanged = item.change.value_or(0) != 0;
        const std::string change = isChanged ? signedSize(session_, *item.change) : "";
        line.push_back({TerminalText::padded(change, layout.change, true) + "  ",
                        item.change.value_or(0) > 0 ? Style::warning : Style::good});
    }
    if (layout.modified > 0) {
        const std::string date = record.modifiedAt() ? localTime(*record.modifiedAt()).substr(0, dateColumns) : "";
        line.push_back({TerminalText::padded(date, layout.modified) + "  ", Style::quiet});
    }
    // Its bytes are counted with another name of the same file.
    const std::string_view mark = record.isHardLinkDuplicate() ? " (hard link)" : kindMark(record.kind());
    const std::size_t room = layout.name > mark.size() ? layout.name - mark.size() : 0;
    std::string name = fitted(TerminalText::escaped(record.name().view(), characters_), room, characters_);
    name += mark;
    line.push_back({std::move(name), styleOf(record)});
    return isChosen ? chosenLine(line, columns_, characters_) : line;
}

std::vector<ScreenLine> BrowseList::lines(const BrowseMarks& marks) const {
    std::vector<ScreenLine> lines;
    if (rows_ == 0) return lines;
    const Layout layout = this->layout();
    if (rows_ > 1) lines.push_back(heading(layout));
    for (std::size_t place = cursor_.first(); place < cursor_.end(); ++place) {
        const BrowseItem& each = item(place);
        lines.push_back(lineOf(each, layout, marks.covers(each.record().path()), place == cursor_.chosen()));
    }
    return lines;
}

}  // namespace KestrelCLI
