#include "output/WordWrap.hpp"

#include "output/TerminalText.hpp"

#include <algorithm>

namespace KestrelCLI {

std::string wrappedWords(std::string_view text, std::size_t columns, std::size_t indent) {
    std::string result;
    std::size_t used = 0;
    for (std::size_t begin = 0; begin < text.size();) {
        const std::size_t end = std::min(text.find_first_of(" \n", begin), text.size());
        const std::string_view word = text.substr(begin, end - begin);
        const std::size_t width = TerminalText::width(word);
        if (used > 0 && used + 1 + width > columns) {
            result += '\n' + std::string(indent, ' ');
            used = indent;
        } else if (used > 0 && begin > 0 && text[begin - 1] == ' ') {
            result += ' ';
            ++used;
        }
        result += word;
        used += width;
        if (end < text.size() && text[end] == '\n') {
            result += '\n';
            used = 0;
        }
        begin = end + 1;
    }
    return result;
}

}  // namespace KestrelCLI
