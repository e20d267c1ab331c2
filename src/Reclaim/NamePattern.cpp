#include "Reclaim/NamePattern.hpp"

namespace KestrelCore {

namespace {

/// The position behind the character at `position`, which is none of the bytes that only continue one.
std::size_t behind(std::string_view text, std::size_t position) {
    do ++position;
    while (position < text.size() && (static_cast<unsigned char>(text[position]) & 0xC0) == 0x80);
    return position;
}

}  // namespace

bool fitsPattern(std::string_view name, std::string_view pattern) {
    // Only the last star is ever tried again: what an earlier one has matched may stay as it is.
    std::size_t at = 0;
    std::size_t step = 0;
    std::size_t star = std::string_view::npos;
    std::size_t afterStar = 0;
    while (at < name.size()) {
        if (step < pattern.size() && pattern[step] == '*') {
            star = step++;
            afterStar = at;
        } else if (step < pattern.size() && pattern[step] == '?') {
            at = behind(name, at);
            ++step;
        } else if (step < pattern.size() && pattern[step] == name[at]) {
            ++at;
            ++step;
        } else if (star != std::string_view::npos) {
            step = star + 1;
            afterStar = behind(name, afterStar);
            at = afterStar;
        } else {
            return false;
        }
    }
    return pattern.find_first_not_of('*', step) == std::string_view::npos;
}

}  // namespace KestrelCore
