#include "Storage/History/GenerationWalk.hpp"

#include "Storage/History/ChunkColumns.hpp"
#include "Storage/History/OpenGeneration.hpp"
#include "Storage/History/RecordBuilder.hpp"
#include "Storage/History/RecordMaker.hpp"

#include <algorithm>
#include <optional>
#include <utility>

namespace KestrelCore {

namespace {

class GenerationItems final : public WalkedTree {
public:
    explicit GenerationItems(const OpenGeneration& generation)
        : generation_{generation}, table_{generation.tree()}, maker_{generation.rows(), generation.context(), storage_},
          folders_{generation.rows().folders(), maker_.fields(), false},
          files_{generation.rows().files(), maker_.fields(), true} {
        if (table_.size() > 0) contents_.emplace(table_, generation.rows().folders(), 0);
    }

    std::uint32_t find(const Text& path) const override { return table_.find(path.view()); }
    std::uint32_t end(std::uint32_t folder) const override { return table_.end(folder); }
    std::uint32_t firstFile(std::uint32_t folder) const override { return table_.firstFile(folder); }
    std::uint32_t endOfFiles(std::uint32_t folder) const override { return table_.endOfFiles(folder); }
    std::uint32_t endOfFilesBelow(std::uint32_t folder) const override { return table_.endOfFilesBelow(folder); }
    bool hasRecord(std::uint32_t folder) const override { return table_.hasRecord(folder); }
    std::string_view name(std::uint32_t folder) const override { return table_.name(folder); }

    WalkedItem folder(std::uint32_t folder) override {
        const RowReader::Rows rows = folders_.at(folder);
        return containerAt(*rows.columns, rows.firstColumn, contents_->of(folder), table_.name(folder));
    }
    WalkedItem file(std::uint32_t file) override {
        if (file < firstAtHand_ || file - firstAtHand_ >= atHand_.count) {
            atHand_ = files_.at(file);
            firstAtHand_ = file;
        }
        const std::uint32_t i = file - firstAtHand_;
        return itemAt(*atHand_.columns, atHand_.firstColumn + i, 0, atHand_.name(i));
    }
    std::vector<Irregular> irregular() override {
        const StreamView& view = generation_.rows().irregular();
        std::vector<Irregular> found;
        RowReader reader{view, maker_.fields(), true};
        for (std::uint32_t position = 0; position < view.size(); ++position) {
            const RowReader::Rows row = reader.at(position);
            auto texts = irregularTexts(row.name(0));
            if (!texts) throwDamaged(generation_.stored().number);
            const std::uint32_t at = table_.at(texts->path.view());
            const std::uint64_t content = at == none ? 0 : contents_->of(at);
            found.push_back({.parentPath = std::move(texts->parentPath),
                             .path = std::move(texts->path),
                             .name = std::move(texts->name),
                             .item = containerAt(*row.columns, row.firstColumn, content, {})});
        }
        return found;
    }
    void eachIdentity(std::uint32_t first, std::uint32_t end, const LinkUse& use) override {
        constexpr HistoryFields fields =
            bit(HistoryField::kind) | bit(HistoryField::shape) | bit(HistoryField::device) | bit(HistoryField::inode);
        constexpr std::uint64_t hardLinkDuplicate = 0x80;
        const std::vector<std::uint64_t>& devices = generation_.context().dictionary.devices;
        RowReader reader{generation_.rows().files(), fields, false};
        for (std::uint32_t file = first; file < end;) {
            const RowReader::Rows rows = reader.at(file);
            const std::uint32_t count = std::min(rows.count, end - file);
            for (std::uint32_t i = 0; i < count; ++i) {
                if ((rows.value(HistoryField::shape, i) & RowShape::noIdentity) != 0) continue;
                const std::uint64_t device = rows.value(HistoryField::device, i);
                if (device >= devices.size()) throwDamaged(generation_.stored().number);
                use({.device = devices[device], .inode = rows.value(HistoryField::inode, i)},
                    (rows.value(HistoryField::kind, i) & hardLinkDuplicate) != 0);
            }
            file += count;
        }
    }

private:
    [[nodiscard]] WalkedItem itemAt(const RowColumns& columns, std::size_t i, std::uint64_t content,
                                    std::string_view name) const {
        WalkedItem item{.name = name, .extension = {}};
        if (!maker_.setValues(item.row, columns, i, content)) throwDamaged(generation_.stored().number);
        item.extension = storage_.extensions()[item.row.extension].view();
        item.identity = maker_.hasFurtherDevices() ? maker_.furtherIdentity(columns, i) : std::nullopt;
        if (!item.identity) item.identity = storage_.identityOf(item.row);
        return item;
    }
    [[nodiscard]] WalkedItem containerAt(const RowColumns& columns, std::size_t i, std::uint64_t content,
                                         std::string_view name) const {
        WalkedItem item = itemAt(columns, i, content, name);
        if (!item.row.isContainer()) return item;
        item.foldedBytes = std::max<std::int64_t>(
            0, static_cast<std::int64_t>(static_cast<std::uint64_t>(item.row.aggregateAllocatedBytes) -
                                         static_cast<std::uint64_t>(item.row.allocatedBytes) - content));
        return item;
    }

    const OpenGeneration& generation_;
    const FolderTable& table_;
    RecordStorage storage_;  ///< has no rows: what theirs refer to
    RecordMaker maker_;
    std::optional<FolderContents> contents_;
    RowReader folders_;
    RowReader files_;
    RowReader::Rows atHand_{};
    std::uint32_t firstAtHand_ = 0;
};

}  // namespace

std::unique_ptr<WalkedTree> walkedTree(const OpenGeneration& generation) {
    return std::make_unique<GenerationItems>(generation);
}

}  // namespace KestrelCore
