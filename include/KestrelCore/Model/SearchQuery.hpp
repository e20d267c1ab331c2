#pragma once

#include "KestrelCore/Base/Date.hpp"
#include "KestrelCore/Base/Text.hpp"
#include "KestrelCore/Export.hpp"
#include "KestrelCore/Model/FileKind.hpp"

#include <cstdint>
#include <functional>
#include <optional>
#include <set>
#include <utility>

namespace KestrelCore {

/// What a user asks of a snapshot: a typed text, and filters chosen outside it.
///
/// The text is split at white space. Plain words must all be found in the name or path of a record; these words filter:
/// `>2gb` and `<10kb` (decimal units), `type:folder`, `ext:pdf`, `in:downloads`, `big` or `large` (500 MB), `huge` or
/// `massive` (1 GB), `recent` or `new` (30 days), `old` (a year), `hidden`, and categories such as `images`, `videos`,
/// `music`, `documents`, `archives`, `apps`, `folders`, `downloads` and `developer`.
struct SearchQuery {
    Text text;
    std::int64_t minimumBytes = 0;      ///< of the display size; 0 = no bound
    std::set<FileKind> kinds;           ///< empty = any
    std::optional<Date> modifiedAfter;  ///< absent = no bound

    SearchQuery() = default;
    explicit SearchQuery(Text text, std::int64_t minimumBytes = 0, std::set<FileKind> kinds = {},
                         std::optional<Date> modifiedAfter = std::nullopt)
        : text{std::move(text)}, minimumBytes{minimumBytes}, kinds{std::move(kinds)}, modifiedAfter{modifiedAfter} {}

    bool operator==(const SearchQuery&) const = default;
};

}  // namespace KestrelCore

template <>
struct KESTRELCORE_EXPORT std::hash<KestrelCore::SearchQuery> {
    std::size_t operator()(const KestrelCore::SearchQuery& query) const;
};
