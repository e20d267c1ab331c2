#pragma once

#include "KestrelCore/Base/CancellationToken.hpp"
#include "KestrelCore/Base/Date.hpp"
#include "KestrelCore/Base/RawValue.hpp"
#include "KestrelCore/Base/Text.hpp"
#include "KestrelCore/Export.hpp"
#include "KestrelCore/Model/SearchFilter.hpp"

#include <array>
#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

namespace KestrelCore {

class ScanSnapshot;

/// What the files of a folder are put together by.
enum class SummaryGrouping : std::uint8_t {
    type,       ///< `ItemCategory`; whatever lies in a package below the folder is part of an application
    extension,  ///< in lower case
    age,        ///< since the last change: within 30 days, 90 days, a year, three years, longer, unknown
    depth,      ///< 1: right in the folder, 2: in a folder in it, and so on
    size        ///< on disk, in decades from nothing to more than 100 GB
};

/// Every case, in their order.
inline constexpr std::array allSummaryGroupings{SummaryGrouping::type, SummaryGrouping::extension, SummaryGrouping::age,
                                                SummaryGrouping::depth, SummaryGrouping::size};
/// The case's name, such as "extension".
[[nodiscard]] KESTRELCORE_EXPORT std::string_view rawValue(SummaryGrouping grouping);
/// Empty for any other text.
template <>
[[nodiscard]] KESTRELCORE_EXPORT std::optional<SummaryGrouping>
fromRawValue<SummaryGrouping>(std::string_view rawValue);

/// The files of one group.
struct SummaryRow {
    /// As a person reads it: "disk images", "pdf", "30 to 90 days", "2", "1 to 10 MB". Each once in a summary, and
    /// empty for files without an extension.
    Text name;
    std::int64_t items = 0;  ///< at least 1
    std::int64_t bytes = 0;  ///< on disk; further hard links count for none

    bool operator==(const SummaryRow&) const = default;
};

/// How a summary is made.
struct SummarySettings {
    std::optional<CancellationToken> cancellation{};  ///< absent: it can't be abandoned
    std::optional<Date> now{};                        ///< what ages count back from; absent: the clock's time
};

/// How many files lie below a folder, and what they take, group by group. Only files count: no folders, no links, and
/// nothing that has no content.
struct KESTRELCORE_EXPORT Summary {
    Text folder;  ///< as it was asked for
    SummaryGrouping grouping = SummaryGrouping::type;
    Date now;        ///< what ages count back from, in whole seconds
    SummaryRow all;  ///< the sum of all rows, without a name
    /// By type and extension most bytes first, equal ones by items and then by name; else the youngest, the nearest and
    /// the smallest first. A group without files has no row.
    std::vector<SummaryRow> rows;

    /// Of the snapshot's files below the folder at `path`; any thread. Empty when no folder of the snapshot has that
    /// path, or when it was cancelled. A pass over all records: some hundredths of a second for a million of them.
    [[nodiscard]] static std::optional<Summary> of(const ScanSnapshot& snapshot, const Text& path,
                                                   SummaryGrouping grouping, const SummarySettings& settings = {});

    /// What a search without words finds the files of a row by; empty where no search can: by depth, and for an
    /// unknown age. By type it finds photos in applications, too, and applications as wholes.
    [[nodiscard]] std::optional<SearchFilter> filterFor(const SummaryRow& row) const;

    bool operator==(const Summary&) const = default;
};

}  // namespace KestrelCore
