#pragma once

#include "KestrelCore/Base/Text.hpp"
#include "Snapshot/RecordStorage.hpp"
#include "Storage/History/RecordMaker.hpp"
#include "Storage/History/RowBlock.hpp"
#include "Storage/History/StreamView.hpp"

#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>

namespace KestrelCore {

/// The texts of an irregular record.
struct IrregularTexts {
    std::optional<Text> parentPath;
    Text path;
    Text name;
};
/// Of what stands as the name of a row of the stream `irregular`; empty where that are no such texts.
[[nodiscard]] std::optional<IrregularTexts> irregularTexts(std::string_view name);

/// Makes records of some rows of a generation, one after the other. Whatever the rows hold is checked: what no snapshot
/// can have throws that the generation is damaged.
class RecordBuilder {
public:
    /// Both must outlive this.
    RecordBuilder(const GenerationRows& rows, const GenerationContext& context);

    /// The fields that a row must have been read with.
    [[nodiscard]] HistoryFields fields() const { return maker_.fields(); }
    [[nodiscard]] RecordStorage& storage() { return *storage_; }

    /// A record in `folder`, of the row at `i`. `content` is what its aggregate has beside its own allocation; `place`
    /// the row's in its stream.
    void addRegular(RecordStorage::FolderIndex folder, std::string_view name, const RowColumns& columns, std::size_t i,
                    std::uint64_t content, HistoryStream stream, std::uint32_t place);
    void addIrregular(IrregularTexts texts, const RowColumns& columns, std::size_t i, std::uint64_t content,
                      std::uint32_t place);

    /// The records in this order, which is used up: `order[i]` is the one added as the `order[i]`-th.
    [[nodiscard]] std::shared_ptr<const RecordStorage> finish(std::vector<std::uint32_t>& order);

private:
    void fill(RecordStorage::Row& row, const RowColumns& columns, std::size_t i, std::uint64_t content,
              HistoryStream stream, std::uint32_t place);

    const GenerationRows& rows_;
    const GenerationContext& context_;
    std::shared_ptr<RecordStorage> storage_;
    RecordMaker maker_;
    std::vector<std::uint32_t> numbers_;  ///< of the records, as they were added; or
    std::vector<UUID> identifiers_;       ///< their identifiers
};

}  // namespace KestrelCore
