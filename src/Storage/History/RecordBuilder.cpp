#include "Storage/History/RecordBuilder.hpp"

#include "Base/TextScan.hpp"
#include "Storage/History/RowValues.hpp"

#include <algorithm>
#include <utility>

namespace KestrelCore {

std::optional<IrregularTexts> irregularTexts(std::string_view name) {
    const auto bytes = withSlashes(name);
    const auto texts = bytes ? separatedTexts(*bytes) : std::nullopt;
    if (!texts || texts->size() < 2 || texts->size() > 3) return std::nullopt;
    if (!std::ranges::all_of(*texts, isWellFormedUTF8)) return std::nullopt;
    return IrregularTexts{.parentPath = texts->size() == 3 ? std::optional{Text{(*texts)[2]}} : std::nullopt,
                          .path = Text{(*texts)[0]},
                          .name = Text{(*texts)[1]}};
}

RecordBuilder::RecordBuilder(const GenerationRows& rows, const GenerationContext& context)
    : rows_{rows}, context_{context}, storage_{std::make_shared<RecordStorage>()}, maker_{rows, context, *storage_} {}

void RecordBuilder::addRegular(RecordStorage::FolderIndex folder, std::string_view name, const RowColumns& columns,
                               std::size_t i, std::uint64_t content, HistoryStream stream, std::uint32_t place) {
    if (name.size() > NameArena::longestName || !isWellFormedUTF8(name)) throwDamaged(rows_.generation());
    fill(storage_->appendRegular(folder, name), columns, i, content, stream, place);
}

void RecordBuilder::addIrregular(IrregularTexts texts, const RowColumns& columns, std::size_t i, std::uint64_t content,
                                 std::uint32_t place) {
    fill(storage_->appendIrregular(std::move(texts.parentPath), std::move(texts.path), std::move(texts.name)), columns,
         i, content, HistoryStream::irregular, place);
}

void RecordBuilder::fill(RecordStorage::Row& row, const RowColumns& columns, std::size_t i, std::uint64_t content,
                         HistoryStream stream, std::uint32_t place) {
    if (!maker_.setValues(row, columns, i, content)) throwDamaged(rows_.generation());
    if (const auto identity = maker_.furtherIdentity(columns, i)) storage_->setIdentity(row, *identity);
    if (maker_.hasNumbers()) {
        numbers_.push_back(maker_.number(columns, i, stream, place));
    } else {
        identifiers_.push_back(RecordMaker::identifier(columns, i));
    }
}

std::shared_ptr<const RecordStorage> RecordBuilder::finish(std::vector<std::uint32_t>& order) {
    if (maker_.hasNumbers()) {
        std::vector<std::uint32_t> numbers;
        numbers.reserve(order.size());
        for (const std::uint32_t record : order) numbers.push_back(numbers_[record]);
        storage_->deriveIdentifiers(context_.identifierSeed, std::move(numbers));
    } else {
        storage_->takeIdentifiers(std::move(identifiers_));
    }
    storage_->reorder(order);
    storage_->finishBuilding();
    return std::move(storage_);
}

}  // namespace KestrelCore
