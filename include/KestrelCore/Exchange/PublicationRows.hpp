#pragma once

#include "KestrelCore/Base/CancellationToken.hpp"
#include "KestrelCore/Base/Date.hpp"
#include "KestrelCore/Export.hpp"
#include "KestrelCore/Snapshot/ScanSnapshot.hpp"
#include "KestrelCore/Storage/Generation.hpp"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>

namespace KestrelCore {

/// Whose rows they are: what begins each row of every table.
struct PublicationKey {
    std::string host;    ///< any bytes
    std::string volume;  ///< any bytes
    std::uint64_t publication = 0;

    bool operator==(const PublicationKey&) const = default;
};

/// What the line of a publication says beside what its scan does.
struct PublicationLine {
    Date published;
    bool hasFiles = false;
    std::int64_t folders = 0;  ///< rows of these
    std::uint32_t keep = 0;    ///< how many publications are to stay
    std::string program{};     ///< the version that publishes
};

/// What one rule would free.
struct PublishedSuggestion {
    std::string rule;
    std::string title;
    std::string certainty;
    std::int64_t items = 0;
    std::int64_t bytes = 0;
};

/// A scan as the rows of a column store: `packaging/clickhouse/schema.sql` tells of the tables. The rows are in
/// ClickHouse's RowBinary, which is bytes alone: a name may hold anything.
///
/// Nothing of the scan is held twice but a batch. Any thread; each call is on its own.
class KESTRELCORE_EXPORT PublicationRows {
public:
    static constexpr std::int64_t mostRows = 100'000;                ///< of a batch
    static constexpr std::size_t mostBytes = std::size_t{64} << 20;  ///< of a batch, and one row more
    /// Gets each batch, of at least one row; what it throws ends the call and comes out of it.
    using Sink = std::function<void(std::string&& rows, std::int64_t count)>;

    PublicationRows(ScanSnapshot snapshot, PublicationKey key) : snapshot_{std::move(snapshot)}, key_{std::move(key)} {}

    // The names of the columns, in the order of the rows, with ", " between.
    [[nodiscard]] static std::string_view fileColumns();
    [[nodiscard]] static std::string_view folderColumns();
    [[nodiscard]] static std::string_view suggestionColumns();
    [[nodiscard]] static std::string_view lineColumns();

    // Each gives the number of rows; empty when it was cancelled, with some handed out.

    /// A row for each record of the scan.
    [[nodiscard]] std::optional<std::int64_t> files(const Sink& sink, const CancellationToken& cancellation) const;
    /// A row for each folder and package of the scan's root, itself among them, with the sums of what lies below. Of
    /// files with content: further links to one count as files and for no bytes, as in a `Summary`; ages count back
    /// from when the scan was completed.
    [[nodiscard]] std::optional<std::int64_t> folders(const Sink& sink, const CancellationToken& cancellation) const;

    /// A row for each.
    [[nodiscard]] std::string suggestions(std::span<const PublishedSuggestion> suggestions) const;
    /// The one row of `snapshots`.
    [[nodiscard]] std::string line(const Generation& generation, const PublicationLine& line) const;

private:
    ScanSnapshot snapshot_;
    PublicationKey key_;
};

}  // namespace KestrelCore
