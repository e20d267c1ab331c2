#pragma once

#include "KestrelCore/Base/UUID.hpp"
#include "Snapshot/RecordStorage.hpp"
#include "Storage/History/FolderTable.hpp"
#include "Storage/History/SnapshotRows.hpp"
#include "Storage/History/StreamView.hpp"

#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

namespace KestrelCore {

/// What a generation's rows refer to.
struct GenerationContext {
    HistoryDictionary dictionary;
    UUID identifierSeed;
    /// The position of each row in the snapshot, stream after stream; empty for the order of a scan.
    std::vector<std::uint64_t> positions;
};

/// Makes records of a generation's rows, some of them or all. Whatever the rows hold is checked: what no snapshot can
/// have throws that the generation is damaged.
class RecordBuilder {
public:
    /// Both must outlive this.
    RecordBuilder(const GenerationRows& rows, const GenerationContext& context);

    /// The fields that a row must have been read with.
    [[nodiscard]] HistoryFields fields() const { return fields_; }
    [[nodiscard]] RecordStorage& storage() { return *storage_; }

    /// A record in `folder`, of row `row` of the block. `content` is what the row's aggregate has beside its own
    /// allocation; `place` the row's in its stream.
    RecordStorage::Row& addRegular(RecordStorage::FolderIndex folder, std::string_view name, const RowBlock& block,
                                   std::size_t row, std::uint64_t content, HistoryStream stream, std::uint32_t place);
    /// A record of the stream `irregular`; `table` knows what lies below it.
    void addIrregular(const RowBlock& block, std::size_t row, std::uint32_t place, const FolderTable& table,
                      const std::vector<std::uint64_t>& contents);

    /// The records in this order, which is used up: `order[i]` is the one added as the `order[i]`-th.
    [[nodiscard]] std::shared_ptr<const RecordStorage> finish(std::vector<std::uint32_t>& order);

private:
    void fill(RecordStorage::Row& row, const RowBlock& block, std::size_t i, std::uint64_t content,
              HistoryStream stream, std::uint32_t place);

    const GenerationRows& rows_;
    const GenerationContext& context_;
    HistoryFields fields_;
    std::shared_ptr<RecordStorage> storage_;
    std::vector<std::uint32_t> extensions_;  ///< the dictionary's → the storage's
    std::vector<std::uint32_t> numbers_;     ///< of the records, as they were added
};

}  // namespace KestrelCore
