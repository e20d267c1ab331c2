#include "Storage/History/SnapshotLoading.hpp"

#include "Snapshot/TreeOrder.hpp"
#include "Storage/History/FolderTable.hpp"

#include <algorithm>
#include <string_view>
#include <utility>

namespace KestrelCore {

namespace {

/// The order of a scan, asked of rows that have been loaded.
class OrderOfRows final : public ScanOrderSource {
public:
    OrderOfRows(const FolderTable& table, const RecordStorage& storage, std::uint32_t firstFileRow)
        : table_{table}, storage_{storage}, firstFileRow_{firstFileRow} {}
    std::uint32_t folderCount() const override { return table_.size(); }
    std::uint32_t folderEnd(std::uint32_t folder) const override { return table_.end(folder); }
    std::uint32_t firstFile(std::uint32_t folder) const override { return table_.firstFile(folder); }
    std::uint32_t fileCount(std::uint32_t folder) const override { return table_.fileCount(folder); }
    bool hasRecord(std::uint32_t folder) const override { return table_.hasRecord(folder); }
    std::string_view folderName(std::uint32_t folder) const override { return table_.name(folder); }
    std::string_view fileName(std::uint32_t file) const override {
        return storage_.nameOf(storage_.row(firstFileRow_ + file));
    }

private:
    const FolderTable& table_;
    const RecordStorage& storage_;
    std::uint32_t firstFileRow_;
};

class Loading {
public:
    Loading(const GenerationRows& rows, const GenerationContext& context)
        : rows_{rows}, context_{context}, builder_{rows, context},
          table_{rows, builder_.fields() | bit(HistoryField::fileBytes)},
          contents_{FolderTable::contents(table_, table_.aggregates())} {}

    std::shared_ptr<const RecordStorage> records() {
        readFolders();
        readFiles();
        readIrregular();
        std::vector<std::uint32_t> order = context_.positions.empty() ? orderOfScan() : orderOfPositions();
        if (order.size() != added()) throwDamaged(rows_.generation());
        return builder_.finish(order);
    }

private:
    [[nodiscard]] std::uint32_t added() { return static_cast<std::uint32_t>(builder_.storage().size()); }

    void readFolders() {
        RecordStorage& storage = builder_.storage();
        folderOf_.resize(table_.size(), RecordStorage::topFolder);
        rowOfFolder_.resize(table_.size(), TreeOrder::none);
        for (std::uint32_t i = 0; i < table_.size(); ++i) {
            const std::uint32_t parent = i == 0 ? 0 : folderOf_[table_.parent(i)];
            const RecordStorage::Row* row = nullptr;
            if (table_.hasRecord(i)) {
                rowOfFolder_[i] = added();
                row = &builder_.addRegular(parent, table_.name(i), table_.rows(), i, contents_[i],
                                           HistoryStream::folders, table_.place(i));
            }
            // A folder that holds nothing is nobody's parent.
            if (i == 0 || (table_.end(i) == i + 1 && table_.fileCount(i) == 0)) continue;
            if (table_.name(i).size() > NameArena::longestName) throwDamaged(rows_.generation());
            folderOf_[i] = row != nullptr && !row->isIrregular ? storage.addFolder(parent, *row)
                                                               : storage.addFolder(parent, table_.name(i));
        }
    }

    void readFiles() {
        firstFileRow_ = added();
        RowReader reader{rows_.files(), builder_.fields(), true};
        for (std::uint32_t folder = 0; folder < table_.size(); ++folder) {
            std::uint32_t file = table_.firstFile(folder);
            const std::uint32_t end = file + table_.fileCount(folder);
            while (file < end) {
                const RowReader::Piece piece = reader.at(file);
                const std::uint32_t count = std::min(piece.count, end - file);
                for (std::uint32_t i = 0; i < count; ++i) {
                    (void)builder_.addRegular(folderOf_[folder], piece.block->name(piece.row + i), *piece.block,
                                              piece.row + i, 0, HistoryStream::files, piece.place + i);
                }
                file += count;
            }
        }
    }

    void readIrregular() {
        firstIrregularRow_ = added();
        RowReader reader{rows_.irregular(), builder_.fields(), true};
        for (std::uint32_t position = 0; position < rows_.irregular().size();) {
            const RowReader::Piece piece = reader.at(position);
            for (std::uint32_t i = 0; i < piece.count; ++i) {
                builder_.addIrregular(*piece.block, piece.row + i, piece.place + i, table_, contents_);
            }
            position += piece.count;
        }
    }

    [[nodiscard]] std::vector<std::uint32_t> orderOfScan() {
        std::vector<std::uint32_t> order;
        order.reserve(added());
        for (std::uint32_t row = firstIrregularRow_; row < added(); ++row) order.push_back(row);
        for (const ScanOrderRun& run : scanOrder(OrderOfRows{table_, builder_.storage(), firstFileRow_})) {
            for (std::uint32_t i = run.first; i < run.first + run.count; ++i) {
                order.push_back(run.isFolder ? rowOfFolder_[i] : firstFileRow_ + i);
            }
        }
        return order;
    }

    [[nodiscard]] std::vector<std::uint32_t> orderOfPositions() {
        const std::uint32_t count = added();
        const std::size_t folders = table_.size();
        if (context_.positions.size() != folders + (count - firstFileRow_)) throwDamaged(rows_.generation());
        std::vector<std::uint32_t> order(count, TreeOrder::none);
        const auto put = [&](std::uint64_t position, std::uint32_t row) {
            if (position >= count || order[position] != TreeOrder::none) throwDamaged(rows_.generation());
            order[position] = row;
        };
        for (std::uint32_t i = 0; i < folders; ++i) {
            if (rowOfFolder_[i] != TreeOrder::none) put(context_.positions[i], rowOfFolder_[i]);
        }
        for (std::uint32_t row = firstFileRow_; row < count; ++row) {
            put(context_.positions[folders + row - firstFileRow_], row);
        }
        return order;
    }

    const GenerationRows& rows_;
    const GenerationContext& context_;
    RecordBuilder builder_;
    FolderTable table_;
    std::vector<std::uint64_t> contents_;
    std::vector<RecordStorage::FolderIndex> folderOf_;
    std::vector<std::uint32_t> rowOfFolder_;  ///< as the records were added
    std::uint32_t firstFileRow_ = 0;
    std::uint32_t firstIrregularRow_ = 0;
};

}  // namespace

std::shared_ptr<const RecordStorage> loadRecords(const GenerationRows& rows, const GenerationContext& context) {
    return Loading{rows, context}.records();
}

}  // namespace KestrelCore
