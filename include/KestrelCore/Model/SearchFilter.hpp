#pragma once

#include "KestrelCore/Base/Date.hpp"
#include "KestrelCore/Base/Text.hpp"
#include "KestrelCore/Model/FileKind.hpp"
#include "KestrelCore/Model/ItemCategory.hpp"

#include <cstdint>
#include <optional>
#include <set>
#include <vector>

namespace KestrelCore {

/// What items must be like beside what a query's text says. A search applies it as it goes through the records, so
/// before its limit. What is empty or absent asks for nothing. Every part narrows, but places are one part.
struct SearchFilter {
    std::int64_t minimumBytes = 0;  ///< of the display size
    std::optional<std::int64_t> maximumBytes{};
    std::optional<Date> modifiedAfter{};   ///< or exactly then; an item without a date fails
    std::optional<Date> modifiedBefore{};  ///< an item without a date fails
    /// An item must be of one of these kinds or of one of these categories.
    std::set<FileKind> kinds{};
    std::set<ItemCategory> categories{};
    std::set<Text> extensions{};         ///< one of these, lower case and without the dot; "" = none
    std::vector<Text> inFolders{};       ///< absolute paths; the item lies below one of them, or has a word of the next
    std::vector<Text> notInFolders{};    ///< absolute paths; the item neither is one of them nor lies below one
    std::vector<Text> wordsInPath{};     ///< one occurs in the path, in any case, or it lies in one of `inFolders`
    std::vector<Text> wordsNotInPath{};  ///< none occurs in the path

    bool operator==(const SearchFilter&) const = default;
};

}  // namespace KestrelCore
