#include "output/NearNames.hpp"

#include "KestrelCore/Base/Text.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <limits>
#include <utility>

namespace KestrelCLI {

std::size_t slipsBetween(std::string_view a, std::string_view b) {
    std::vector<std::size_t> beforeLast(b.size() + 1);
    std::vector<std::size_t> last(b.size() + 1);
    std::vector<std::size_t> row(b.size() + 1);
    for (std::size_t j = 0; j <= b.size(); ++j) row[j] = j;
    for (std::size_t i = 1; i <= a.size(); ++i) {
        beforeLast.swap(last);
        last.swap(row);
        row[0] = i;
        for (std::size_t j = 1; j <= b.size(); ++j) {
            const std::size_t other = last[j - 1] + (a[i - 1] == b[j - 1] ? 0 : 1);
            row[j] = std::min({other, last[j] + 1, row[j - 1] + 1});
            const bool areSwapped = i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1];
            if (areSwapped) row[j] = std::min(row[j], beforeLast[j - 2] + 1);
        }
    }
    return row[b.size()];
}

namespace {

/// No name that is worth a suggestion is longer, and comparing takes the product of two lengths.
constexpr std::size_t longestName = 100;

std::string folded(std::string_view text) { return KestrelCore::Text{text}.folded().string(); }

/// The fewest slips between `wanted` and the name or one of its words; more than any bound when there is no such.
std::size_t slipsTo(std::string_view wanted, const std::string& name) {
    std::size_t fewest = std::numeric_limits<std::size_t>::max();
    const auto compare = [&](std::string_view text) {
        if (!text.empty() && text.size() <= longestName) fewest = std::min(fewest, slipsBetween(wanted, text));
    };
    compare(name);
    constexpr std::string_view betweenWords = " .-_:/";
    for (std::size_t start = 0; start < name.size();) {
        const std::size_t end = std::min(name.find_first_of(betweenWords, start), name.size());
        compare(std::string_view{name}.substr(start, end - start));
        start = end + 1;
    }
    return fewest;
}

}  // namespace

std::vector<std::string> nearNames(std::string_view wanted, const std::vector<std::string>& names, std::size_t most) {
    const std::string key = folded(wanted);
    if (key.empty() || key.size() > longestName) return {};
    const std::size_t bound = key.size() <= 4 ? 1 : 2;
    std::vector<std::pair<std::size_t, std::string>> near;
    for (const std::string& name : names) {
        const std::size_t slips = slipsTo(key, folded(name));
        if (slips <= bound && std::ranges::find(near, name, &std::pair<std::size_t, std::string>::second) == near.end())
            near.emplace_back(slips, name);
    }
    std::ranges::stable_sort(near, {}, &std::pair<std::size_t, std::string>::first);
    std::vector<std::string> found;
    for (std::size_t i = 0; i < std::min(most, near.size()); ++i) found.push_back(std::move(near[i].second));
    return found;
}

std::string didYouMean(const std::vector<std::string>& names) {
    std::string text;
    for (std::size_t i = 0; i < names.size(); ++i) {
        const char* before = i == 0 ? "" : i + 1 == names.size() ? " or " : ", ";
        text += fmt::format("{}“{}”", before, names[i]);
    }
    return text.empty() ? text : fmt::format("Did you mean {}?", text);
}

}  // namespace KestrelCLI
