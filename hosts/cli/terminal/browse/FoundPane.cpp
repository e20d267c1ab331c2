#include "terminal/browse/FoundPane.hpp"

#include "output/ByteFormat.hpp"
#include "output/TerminalText.hpp"
#include "output/Times.hpp"
#include "output/UTF8.hpp"
#include "terminal/PageText.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <string_view>
#include <utility>

using namespace KestrelCore;

namespace KestrelCLI {

namespace {

constexpr std::size_t dateColumns = 10;
constexpr std::size_t widthForDates = 72;

/// The path as it continues below the folder.
std::string_view relative(const Text& path, const Text& folder) {
    std::string_view rest = path.view();
    if (folder.view() == "/") return rest.substr(std::min<std::size_t>(1, rest.size()));
    if (rest.starts_with(folder.view()) && rest.size() > folder.byteCount()) rest.remove_prefix(folder.byteCount() + 1);
    return rest;
}

}  // namespace

FoundPane::FoundPane(const Session& session, Characters characters, std::string title, FindBelow query, bool isTyping)
    : session_{session}, characters_{characters}, title_{std::move(title)}, query_{std::move(query)},
      isTyping_{isTyping}, isPending_{!isTyping} {}

void FoundPane::setFound(std::shared_ptr<const BrowseFound> found) {
    found_ = std::move(found);
    isPending_ = false;
    cursor_.setCount(found_ == nullptr ? 0 : found_->records.size());
    resize(columns_, rows_);  // the head may have other lines now
    cursor_.choose(0);
}

void FoundPane::resize(std::size_t columns, std::size_t rows) {
    columns_ = columns;
    rows_ = rows;
    const std::size_t above = head().size();
    cursor_.setRows(rows > above ? rows - above : 0);
}

const FileRecord* FoundPane::chosen() const {
    return found_ == nullptr || found_->records.empty() ? nullptr : &found_->records[cursor_.chosen()];
}

FoundPane::Answer FoundPane::press(const ScreenKey& key) {
    using Kind = ScreenKey::Kind;
    const auto changed = [this] {
        isPending_ = true;
        return Answer{.isUsed = true, .isToFind = true};
    };
    if (isTyping_) {
        switch (key.kind) {
        case Kind::character: query_.words += utf8Of(key.character); return changed();
        case Kind::backspace:
            if (query_.words.empty()) return {.isUsed = true, .isToClose = true};
            eraseLastCharacter(query_.words);
            return changed();
        case Kind::escape: return {.isUsed = true, .isToClose = true};
        case Kind::enter: isTyping_ = false; return {.isUsed = true};
        default: break;
        }
    } else {
        switch (key.kind) {
        case Kind::enter:
        case Kind::right: return {.isUsed = true, .isToOpen = chosen() != nullptr};
        case Kind::escape:
        case Kind::backspace:
        case Kind::left: return {.isUsed = true, .isToClose = true};
        case Kind::character:
            if (key.character == U'l') return {.isUsed = true, .isToOpen = chosen() != nullptr};
            if (key.character == U'h') return {.isUsed = true, .isToClose = true};
            if (key.character == U'/') {
                isTyping_ = true;
                // Words find among everything, not among what a rule names.
                if (!query_.rule.isEmpty()) title_ = "Found";
                query_.rule = {};
                return {.isUsed = true};
            }
            break;
        default: break;
        }
    }
    ScreenKey moved = key;
    if (key.kind == Kind::click || key.kind == Kind::doubleClick) {
        const std::size_t above = head().size();
        if (key.row < above) return {.isUsed = true};
        moved.kind = Kind::click;
        moved.row = key.row - above;
        const bool isOnLine = cursor_.press(moved);
        return {.isUsed = true, .isToOpen = isOnLine && key.kind == Kind::doubleClick};
    }
    return {.isUsed = cursor_.press(key)};
}

/// The title, or the words as they are typed, and below it what is said of them.
std::vector<ScreenLine> FoundPane::head() const {
    std::vector<ScreenLine> lines;
    const auto add = [&](std::string_view text, Style style) {
        lines.push_back({{clipped(text, columns_, characters_), style}});
    };
    const std::string words = TerminalText::escaped(query_.words, characters_);
    if (isTyping_) {
        add(fmt::format("Find: {}_", words), Style::heading);
    } else {
        add(words.empty() ? title_ : fmt::format("{}: {}", title_, words), Style::heading);
    }
    // Where there is hardly any room the items have it.
    if (rows_ < 4) return lines;
    if (found_ == nullptr) {
        add(isPending_ ? "Looking …"
                       : "Words, or filters: >1gb  <10mb  type:folder  ext:pdf  in:downloads  videos  old",
            Style::quiet);
        return lines;
    }
    if (!found_->failure.empty()) {
        add(TerminalText::escaped(found_->failure, characters_), Style::warning);
        return lines;
    }
    const auto shown = static_cast<std::int64_t>(found_->records.size());
    std::string sum = shown < found_->matches
                          ? fmt::format("{} of {} items", ByteFormat::count(shown), ByteFormat::count(found_->matches))
                      : shown == 0 ? std::string{"Nothing found"}
                      : shown == 1 ? std::string{"1 item"}
                                   : fmt::format("{} items", ByteFormat::count(shown));
    if (found_->matchedBytes && shown > 0) sum += fmt::format(", {} altogether", session_.size(*found_->matchedBytes));
    if (isPending_) sum += " …";
    add(sum, Style::quiet);
    if (rows_ >= 8) {
        for (const std::string& hint : found_->hints) {
            const std::string shownHint = TerminalText::escaped(hint, characters_);
            for (const std::string_view piece : TerminalText::wrapped(shownHint, columns_)) {
                if (lines.size() < 5) add(piece, Style::warning);
            }
        }
    }
    return lines;
}

ScreenLine FoundPane::lineOf(const FileRecord& record, bool isMarked, bool isChosen) const {
    const std::size_t sizeColumns = session_.options.exactBytes ? 18 : 9;
    ScreenLine line;
    line.push_back({isMarked ? (characters_ == Characters::unicode ? "● " : "* ") : "  ", Style::match});
    std::string before = TerminalText::padded(session_.size(record.displayBytes()), sizeColumns, true) + "  ";
    if (columns_ >= widthForDates) {
        const std::string date = record.modifiedAt() ? localTime(*record.modifiedAt()).substr(0, dateColumns) : "";
        before += TerminalText::padded(date, dateColumns) + "  ";
    }
    std::size_t used = TerminalText::width(before) + 2;
    line.push_back({std::move(before), Style::plain});
    const std::string path = TerminalText::escaped(relative(record.path(), found_->folder), characters_) +
                             (record.isContainer()                      ? "/"
                              : record.kind() == FileKind::symbolicLink ? "@"
                              : record.isHardLinkDuplicate()            ? " (hard link)"
                                                                        : "");
    const std::string shownPath = fitted(path, columns_ > used ? columns_ - used : 0, characters_);
    // The folders on the way matter less than the name.
    const std::size_t slash = shownPath.rfind('/', shownPath.size() < 2 ? 0 : shownPath.size() - 2);
    const std::size_t name = slash == std::string::npos ? 0 : slash + 1;
    line.push_back({shownPath.substr(0, name), Style::quiet});
    line.push_back({shownPath.substr(name), record.isContainer() ? Style::folder : Style::file});
    return isChosen ? chosenLine(line, columns_, characters_) : line;
}

std::vector<ScreenLine> FoundPane::lines(const BrowseMarks& marks) const {
    if (rows_ == 0) return {};
    std::vector<ScreenLine> lines = head();
    if (found_ == nullptr) return lines;
    for (std::size_t place = cursor_.first(); place < cursor_.end() && lines.size() < rows_; ++place) {
        const FileRecord& record = found_->records[place];
        lines.push_back(lineOf(record, marks.covers(record.path()), place == cursor_.chosen()));
    }
    return lines;
}

}  // namespace KestrelCLI
