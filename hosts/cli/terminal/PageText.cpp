#include "terminal/PageText.hpp"

#include "output/Terminal.hpp"
#include "output/TerminalText.hpp"
#include "output/UTF8.hpp"

#include <algorithm>
#include <cmath>

namespace KestrelCLI {

namespace {

/// One character for each, so that widths stay.
std::string drawable(std::string text, Characters characters) {
    const auto isBeyondASCII = [](char byte) { return (byte & 0x80) != 0; };
    if (characters == Characters::unicode || std::ranges::none_of(text, isBeyondASCII)) return text;
    std::string out;
    for (std::string_view rest = text; !rest.empty();) {
        const UTF8Step step = firstUTF8(rest);
        if (step.scalar && *step.scalar < 0x80) {
            out += rest.front();
        } else {
            const std::size_t columns = TerminalText::width(rest.substr(0, step.length));
            out.append(columns, step.scalar == U'…' ? '~' : '?');
        }
        rest.remove_prefix(step.length);
    }
    return out;
}

}  // namespace

std::string fitted(std::string_view text, std::size_t columns, Characters characters) {
    return drawable(TerminalText::shortened(text, columns), characters);
}

std::string clipped(std::string_view text, std::size_t columns, Characters characters) {
    std::size_t length = 0;
    std::size_t used = 0;
    while (length < text.size()) {
        const UTF8Step step = firstUTF8(text.substr(length));
        used += TerminalText::width(text.substr(length, step.length));
        if (used > columns) break;
        length += step.length;
    }
    return drawable(std::string{text.substr(0, length)}, characters);
}

ScreenLine clipped(const ScreenLine& line, std::size_t columns, Characters characters) {
    ScreenLine result;
    std::size_t left = columns;
    for (const ScreenSpan& span : line) {
        ScreenSpan& kept = result.emplace_back(span);
        kept.text = clipped(span.text, left, characters);
        left -= TerminalText::width(kept.text);
        if (kept.text.size() < span.text.size()) break;
    }
    return result;
}

ScreenLine chosenLine(const ScreenLine& line, std::size_t columns, Characters characters) {
    std::string whole;
    for (const ScreenSpan& span : line) whole += span.text;
    return {{TerminalText::padded(clipped(whole, columns, characters), columns), Style::selected}};
}

std::string pageBar(double fraction, std::size_t columns, Characters characters) {
    if (characters == Characters::unicode) return bar(fraction, columns);
    const double within = std::isnan(fraction) ? 0 : std::clamp(fraction, 0.0, 1.0);
    const auto filled = static_cast<std::size_t>(std::lround(within * static_cast<double>(columns)));
    return std::string(filled, '#') + std::string(columns - filled, '.');
}

}  // namespace KestrelCLI
