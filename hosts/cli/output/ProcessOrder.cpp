#include "output/ProcessOrder.hpp"

#include <algorithm>
#include <cstdint>
#include <unordered_map>
#include <utility>

namespace KestrelCLI {

namespace {

/// Deeper nesting than this is drawn no further to the right: a tree of shells may be as deep as it likes.
constexpr std::size_t deepestDrawn = 24;

}  // namespace

// Largest first for what is measured, and by name as a list of names is read.
void sortProcesses(std::vector<ProcessRow>& rows, ProcessOrder order) {
    std::ranges::sort(rows, [order](const ProcessRow& a, const ProcessRow& b) {
        switch (order) {
        case ProcessOrder::cpu:
            if (a.sample.cpuPercent != b.sample.cpuPercent) return a.sample.cpuPercent > b.sample.cpuPercent;
            break;
        case ProcessOrder::memory:
            if (a.sample.residentBytes != b.sample.residentBytes)
                return a.sample.residentBytes > b.sample.residentBytes;
            break;
        case ProcessOrder::name:
            if (const auto compared = a.sample.name <=> b.sample.name; compared != 0) return compared < 0;
            break;
        case ProcessOrder::disk:
            if (a.diskBytesPerSecond() != b.diskBytesPerSecond())
                return a.diskBytesPerSecond() > b.diskBytesPerSecond();
            break;
        }
        // Most processes use nothing at a given moment: without an order of their own, they would jump about from page
        // to page.
        return a.sample.id < b.sample.id;
    });
}

std::vector<TreePlace> processTree(const std::vector<ProcessRow>& rows, bool isUnicode) {
    std::unordered_map<std::int32_t, std::size_t> places;
    for (std::size_t row = 0; row < rows.size(); ++row) places.emplace(rows[row].sample.id, row);
    std::vector<std::vector<std::size_t>> children(rows.size());
    std::vector<std::size_t> tops;
    for (std::size_t row = 0; row < rows.size(); ++row) {
        const auto parent = places.find(rows[row].description.parentId);
        if (parent == places.end() || parent->second == row) {
            tops.push_back(row);
        } else {
            children[parent->second].push_back(row);
        }
    }

    struct Open {
        std::size_t row;
        std::string prefix;  ///< its own
        std::string inner;   ///< what those below it begin with
        std::size_t depth;
    };
    std::vector<TreePlace> result;
    result.reserve(rows.size());
    std::vector<bool> isPlaced(rows.size());
    // Without recursion: how deep processes nest is theirs to say.
    const auto place = [&](std::size_t top) {
        std::vector<Open> open{{top, {}, {}, 0}};
        while (!open.empty()) {
            const Open current = std::move(open.back());
            open.pop_back();
            if (isPlaced[current.row]) continue;
            isPlaced[current.row] = true;
            result.push_back({current.row, current.prefix});
            const auto& below = children[current.row];
            // The last is pushed first, so that the first comes out first.
            for (std::size_t index = below.size(); index-- > 0;) {
                const bool isLast = index + 1 == below.size();
                const bool isDrawn = current.depth < deepestDrawn;
                const char* const branch = isUnicode ? (isLast ? "└─ " : "├─ ") : (isLast ? "`- " : "|- ");
                const char* const trunk = isLast ? "   " : isUnicode ? "│  " : "|  ";
                open.push_back({below[index], isDrawn ? current.inner + branch : current.prefix,
                                isDrawn ? current.inner + trunk : current.inner, current.depth + 1});
            }
        }
    };
    for (const std::size_t top : tops) place(top);
    // Parents in a circle, as when identifiers changed hands between two readings, hang from no top.
    for (std::size_t row = 0; row < rows.size(); ++row) {
        if (!isPlaced[row]) place(row);
    }
    return result;
}

}  // namespace KestrelCLI
