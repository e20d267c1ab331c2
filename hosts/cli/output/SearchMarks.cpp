#include "output/SearchMarks.hpp"

#include <algorithm>
#include <string>

using namespace KestrelCore;

namespace KestrelCLI {

std::vector<Mark> searchMarks(std::string_view shownPath, const std::vector<Text>& words) {
    const Text lowered = Text{shownPath}.lowercased();
    const std::string_view path = lowered.view();
    // Positions carry over only when lowercasing kept every length, as it nearly always does.
    if (path.size() != shownPath.size()) return {};
    const std::size_t slash = path.rfind('/');
    const std::size_t name = slash == std::string_view::npos ? 0 : slash + 1;
    std::vector<Mark> marks;
    for (const Text& text : words) {
        const std::string_view word = text.view();
        if (word.empty()) continue;
        const std::size_t first = path.find(word, name);
        if (first == std::string_view::npos) {
            // Not in the name: the last place before is the one that is nearest to it.
            const std::size_t before = path.rfind(word);
            if (before != std::string_view::npos) marks.push_back({before, before + word.size()});
            continue;
        }
        for (std::size_t at = first; at != std::string_view::npos; at = path.find(word, at + word.size())) {
            marks.push_back({at, at + word.size()});
        }
    }
    std::sort(marks.begin(), marks.end(), [](const Mark& a, const Mark& b) { return a.begin < b.begin; });
    // Words may overlap, as "report" and "port" do; their marks become one.
    std::vector<Mark> merged;
    for (const Mark& mark : marks) {
        if (!merged.empty() && mark.begin <= merged.back().end) {
            merged.back().end = std::max(merged.back().end, mark.end);
        } else {
            merged.push_back(mark);
        }
    }
    return merged;
}

std::string withSearchMarks(std::string_view shown, Style style, const std::vector<Text>& words) {
    std::string result;
    std::size_t end = 0;
    for (const Mark& mark : searchMarks(shown, words)) {
        result += painted(style, shown.substr(end, mark.begin - end), true);
        result += painted(Style::match, shown.substr(mark.begin, mark.end - mark.begin), true);
        end = mark.end;
    }
    return result + painted(style, shown.substr(end), true);
}

}  // namespace KestrelCLI
