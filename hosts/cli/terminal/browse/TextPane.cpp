#include "terminal/browse/TextPane.hpp"

#include "terminal/PageText.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <string_view>
#include <utility>

namespace KestrelCLI {

TextPane::TextPane(std::string title, std::vector<ScreenLine> lines, Characters characters)
    : title_{std::move(title)}, text_{std::move(lines)}, characters_{characters} {}

void TextPane::resize(std::size_t columns, std::size_t rows) {
    columns_ = columns;
    rows_ = rows;
}

bool TextPane::press(const ScreenKey& key) {
    const std::size_t room = rows_ > 2 ? rows_ - 2 : 1;
    const std::size_t last = text_.size() > room ? text_.size() - room : 0;
    const auto back = [&](std::size_t by) { first_ = first_ > by ? first_ - by : 0; };
    const auto on = [&](std::size_t by) { first_ = std::min(last, first_ + by); };
    using Kind = ScreenKey::Kind;
    switch (key.kind) {
    case Kind::up:
    case Kind::wheelUp: back(1); return true;
    case Kind::down:
    case Kind::wheelDown: on(1); return true;
    case Kind::pageUp: back(room); return true;
    case Kind::pageDown: on(room); return true;
    case Kind::home: first_ = 0; return true;
    case Kind::end: first_ = last; return true;
    case Kind::character:
        if (key.character == U'k') back(1);
        if (key.character == U'j') on(1);
        return key.character == U'k' || key.character == U'j';
    default: return false;
    }
}

std::vector<ScreenLine> TextPane::lines() const {
    std::vector<ScreenLine> lines;
    if (rows_ == 0) return lines;
    if (rows_ > 2) {
        const std::size_t room = rows_ - 2;
        const std::size_t below = text_.size() > first_ + room ? text_.size() - first_ - room : 0;
        std::string title = title_;
        if (below > 0) title += fmt::format("  (arrows: {} more line{} below)", below, below == 1 ? "" : "s");
        lines.push_back({{clipped(title, columns_, characters_), Style::heading}});
        lines.emplace_back();
    }
    for (std::size_t index = first_; index < text_.size() && lines.size() < rows_; ++index) {
        lines.push_back(clipped(text_[index], columns_, characters_));
    }
    return lines;
}

void addFact(std::vector<ScreenLine>& lines, const std::string& name, const std::string& value, std::size_t columns) {
    constexpr std::size_t nameColumns = 16;
    // On a narrow page the name stands above.
    const bool isNarrow = columns < 2 * nameColumns + 8;
    const std::size_t indent = isNarrow ? 2 : nameColumns;
    if (isNarrow) lines.push_back({{name, Style::quiet}});
    bool isFirst = !isNarrow;
    for (const std::string_view piece : TerminalText::wrapped(value, columns > indent ? columns - indent : 1)) {
        const std::string before = isFirst ? TerminalText::padded(name, indent) : std::string(indent, ' ');
        isFirst = false;
        lines.push_back({{before, Style::quiet}, {std::string{piece}, Style::plain}});
    }
}

}  // namespace KestrelCLI
