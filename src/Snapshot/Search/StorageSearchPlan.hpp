#pragma once

#include "KestrelCore/Base/Date.hpp"
#include "KestrelCore/Base/Text.hpp"
#include "KestrelCore/Model/SearchExplanation.hpp"
#include "KestrelCore/Model/SearchQuery.hpp"

#include <cstdint>
#include <optional>

namespace KestrelCore {

/// The parsed form of a query: its text split into plain terms and recognised filters. Built once a search. What can't
/// be understood as a filter becomes a term, so there is no query that fails.
struct StorageSearchPlan : SearchExplanation {
    /// Among `pathTerms`: the path must hold one of the folders in which developer tools keep their files.
    static const Text& developerMarker();

    /// `now` is what the words "recent", "new" and "old" count from.
    StorageSearchPlan(const SearchQuery& query, Date now);

    /// The bytes that a size such as "1.5gb" or "10" means; empty when it is no size: not a decimal number with an
    /// optional unit, negative, or beyond 64 bits.
    [[nodiscard]] static std::optional<std::int64_t> size(const Text& folded);

private:
    void add(const Text& token, Date now);
    [[nodiscard]] bool addSizeBound(const Text& token);
    [[nodiscard]] bool addPrefixed(const Text& token);
    [[nodiscard]] bool addCategory(const Text& token);
    [[nodiscard]] bool addSizeOrAge(const Text& token, Date now);
};

}  // namespace KestrelCore
