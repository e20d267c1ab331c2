#pragma once

#include "KestrelCore/Base/FileIdentity.hpp"
#include "Snapshot/RecordStorage.hpp"
#include "Snapshot/TreeOrder.hpp"
#include "Storage/History/RowBlock.hpp"
#include "Storage/History/RowValues.hpp"

#include <boost/unordered/unordered_flat_map.hpp>

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace KestrelCore {

/// The texts and numbers that rows name by their position. Differences only add to those of the generation before.
struct HistoryDictionary {
    std::vector<std::string> extensions;
    std::vector<std::uint64_t> devices;

    bool operator==(const HistoryDictionary&) const = default;
};

/// A snapshot's records as the rows of a history. Made once, in about the time of a pass over the records; then blocks
/// of rows are made by any number of threads.
class SnapshotRows {
public:
    /// Extensions and devices that `known` has keep their positions. The storage must outlive this.
    SnapshotRows(const RecordStorage& storage, HistoryDictionary known, const HistoryAges& ages);

    [[nodiscard]] const TreeOrder& order() const { return order_; }
    [[nodiscard]] const HistoryDictionary& dictionary() const { return dictionary_; }
    [[nodiscard]] std::uint32_t size(HistoryStream stream) const;
    /// The fields that this snapshot's rows of a stream have.
    [[nodiscard]] HistoryFields fields(HistoryStream stream) const;
    /// Adds the values of the rows `first` to `first + count` to a block of rows of that stream, all fields.
    void append(RowBlock& block, HistoryStream stream, std::uint32_t first, std::uint32_t count) const;
    /// Adds their names, or what stands in their place.
    void appendNames(RowBlock& block, HistoryStream stream, std::uint32_t first, std::uint32_t count) const;
    /// The name of a folder or a file.
    [[nodiscard]] std::string_view name(HistoryStream stream, std::uint32_t position) const;
    /// All texts of an irregular record, as they stand in place of a name.
    [[nodiscard]] std::string textsOfIrregular(std::uint32_t position) const;
    /// How identifiers are to be kept: never `inherited`.
    [[nodiscard]] IdentifierForm identifiers() const { return identifiers_; }
    /// Whether the records stand in the order of a scan, the irregular ones first.
    [[nodiscard]] bool isInScanOrder() const;
    /// The position of each row in the snapshot, stream after stream.
    [[nodiscard]] std::vector<std::uint64_t> positions() const;

private:
    /// Where the values of rows go, by field; null for a field that is not kept, and zero what is not written.
    using Columns = std::array<std::uint64_t*, rowFieldCount>;
    struct Pass;
    /// What lies right in a folder, but folders.
    struct FolderSums {
        std::uint64_t bytes = 0;
        std::uint64_t oldest = 0;  ///< as of `HistoryField`
        std::uint64_t newest = 0;
        std::array<std::uint64_t, HistoryAges::classes> byAge{};
    };

    void lookThrough();
    void nameDevices(const std::array<Pass, 2>& passes);
    void sumContents();
    void fillRecord(const Columns& columns, std::size_t at, std::uint32_t index, std::uint64_t content) const;
    void fillFolder(const Columns& columns, std::size_t at, std::uint32_t position) const;
    void fillIrregular(const Columns& columns, std::size_t at, std::uint32_t index) const;

    const RecordStorage& storage_;
    TreeOrder order_;
    HistoryDictionary dictionary_;
    HistoryAges ages_;
    IdentifierForm identifiers_ = IdentifierForm::own;
    std::vector<std::uint32_t> extensionOf_;  ///< the storage's → the dictionary's
    boost::unordered_flat_map<std::uint64_t, std::uint64_t> deviceOf_;
    std::array<std::uint64_t, 256> devicePosition_{};  ///< the storage's → the dictionary's
    std::vector<FolderSums> sums_;
    std::vector<std::uint64_t> content_;  ///< of each folder: what the aggregate has beside its own allocation
};

/// What a row adds to the aggregates above it.
[[nodiscard]] inline std::uint64_t bytesCounted(std::uint64_t kind, std::uint64_t allocated) {
    constexpr std::uint64_t hardLinkDuplicate = 0x80;
    return (kind & hardLinkDuplicate) != 0 ? 0 : allocated;
}

}  // namespace KestrelCore
