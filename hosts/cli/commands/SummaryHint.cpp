#include "commands/SummaryHint.hpp"

#include "output/ShellWord.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <string_view>
#include <utility>

// A group is told to a search in the words in which a person would ask for it, so what is looked at here is the filter
// that the library gives for the group, and not the group's name.

using namespace KestrelCore;

namespace KestrelCLI {

namespace {

/// "1y", or "90d" where it is no whole years.
std::string ageWord(Date then, Date now) {
    const auto days = std::llround((now.secondsSinceReferenceDate - then.secondsSinceReferenceDate) / 86'400);
    return days % 365 == 0 ? fmt::format("{}y", days / 365) : fmt::format("{}d", days);
}

/// "10MB", in the largest unit that it is a whole number of.
std::string sizeWord(std::int64_t bytes) {
    static constexpr std::array units{std::pair{std::int64_t{1'000'000'000}, "GB"},
                                      std::pair{std::int64_t{1'000'000}, "MB"}, std::pair{std::int64_t{1'000}, "kB"}};
    for (const auto& [unit, name] : units) {
        if (bytes > 0 && bytes % unit == 0) return fmt::format("{}{}", bytes / unit, name);
    }
    return std::to_string(bytes);
}

/// The options that find what the filter does, its folder left out; empty where there are none.
std::string optionsFor(const SearchFilter& filter, Date now) {
    std::string options;
    for (const ItemCategory category : filter.categories) {
        std::string word{ItemCategories::nameOf(category)};
        std::ranges::replace(word, ' ', '-');
        options += " --type " + word;
    }
    for (const Text& extension : filter.extensions) {
        const auto word = shellWord(extension.view());
        if (extension.isEmpty()) {
            // What no option says, a word does.
            options += " ext: --type files";
        } else if (!word || extension.view().find(',') != std::string_view::npos) {
            return {};  // commas part several
        } else {
            options += " --ext " + *word;
        }
    }
    if (filter.modifiedBefore) options += " --older-than " + ageWord(*filter.modifiedBefore, now);
    if (filter.modifiedAfter) options += " --newer-than " + ageWord(*filter.modifiedAfter, now);
    // A size that begins one byte above a round number is told by that number.
    if (filter.minimumBytes > 1) options += " --min " + sizeWord(filter.minimumBytes - 1);
    if (filter.maximumBytes) options += " --max " + sizeWord(*filter.maximumBytes);
    if (filter.categories.empty() && filter.extensions.empty()) options += " --type files";
    return options;
}

}  // namespace

std::optional<std::string> searchForLargest(const Session& session, const Summary& summary,
                                            std::optional<std::int64_t> scan) {
    std::string where;
    const auto folder = shellWord(summary.folder.view());
    if (!folder) return std::nullopt;
    const std::string shown = session.shownPath(summary.folder.view());
    // The home directory may be written short where nothing stands in quotes.
    const bool isShort = shown.starts_with('~') && folder->starts_with('/');
    where += " --in " + (isShort ? shown : *folder);
    if (scan) where += fmt::format(" --at {}", *scan);
    if (session.options.store) {
        const auto store = shellWord(*session.options.store);
        if (!store) return std::nullopt;
        where += " --store " + *store;
    }
    std::vector<SummaryRow> rows = summary.rows;
    std::ranges::stable_sort(rows, std::ranges::greater{}, &SummaryRow::bytes);
    for (const SummaryRow& row : rows) {
        const auto filter = summary.filterFor(row);
        if (!filter) continue;
        if (const std::string options = optionsFor(*filter, summary.now); !options.empty())
            return "kestrel search" + options + where + " --sort size";
    }
    return std::nullopt;
}

}  // namespace KestrelCLI
