#pragma once

#include "KestrelCore/Base/FileIdentity.hpp"
#include "KestrelCore/Base/Text.hpp"
#include "KestrelCore/Model/FileKind.hpp"
#include "Storage/History/ChunkColumns.hpp"
#include "Storage/History/FolderTable.hpp"
#include "Storage/History/OpenGeneration.hpp"

#include <boost/unordered/unordered_flat_map.hpp>

#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

namespace KestrelCore {

/// Rows that follow each other: the first, and one behind the last.
using RowRange = std::pair<std::uint32_t, std::uint32_t>;

/// What the size of a file is made of.
inline constexpr HistoryFields sizeFields =
    bit(HistoryField::kind) | bit(HistoryField::shape) | bit(HistoryField::logical) | bit(HistoryField::allocated);

[[nodiscard]] constexpr FileKind kindOf(std::uint64_t kind) { return static_cast<FileKind>(kind & 7); }

/// A record that the tree has no row for.
struct IrregularItem {
    Text path;
    std::uint64_t kind = 0;
    std::uint64_t bytes = 0;
    std::uint32_t parent = FolderTable::none;
};

/// Names of files, of each generation those of the chunk that was read last. What two generations share is read once.
class FileNames {
public:
    struct Chunk {
        std::uint32_t number;
        NameBytes names;
        std::vector<std::uint32_t> ends;

        [[nodiscard]] std::string_view name(std::uint32_t row) const {
            const std::size_t begin = row == 0 ? 0 : ends[row - 1] + std::size_t{1};
            return names.view().substr(begin, ends[row] - begin);
        }
    };

    /// Stays as long as somebody holds it.
    [[nodiscard]] const std::shared_ptr<const Chunk>& chunk(const StreamView& files, std::uint32_t layer,
                                                            std::uint32_t number) {
        std::shared_ptr<const Chunk>& last = last_[files.generationOf(layer)];
        if (last != nullptr && last->number == number) return last;
        Chunk next{.number = number, .names = files.names(layer, number), .ends = {}};
        if (!findNameEnds(next.names.view(), files.rowsIn(layer, number), next.ends)) {
            throwDamaged(files.generationOf(layer));
        }
        last = std::make_shared<const Chunk>(std::move(next));
        return last;
    }

private:
    boost::unordered_flat_map<std::int64_t, std::shared_ptr<const Chunk>> last_;
};

/// One of two generations that are compared: its folders with their sums, and its files. One thread.
class GrowthSide {
public:
    struct File {
        FileKind kind;
        std::uint64_t bytes;
    };

    GrowthSide(const OpenGeneration& generation, FileNames& names);

    /// Rows of the first `layers` layers are the other side's too. Sizes are read there where the other has no layers
    /// beside these: then they are what they were, or a later layer of this side says what they are.
    void readSizesFrom(GrowthSide& other, std::uint32_t layers);

    [[nodiscard]] const FolderTable& table() const { return table_; }
    [[nodiscard]] const GenerationRows& rows() const { return rows_; }
    [[nodiscard]] const OpenGeneration& generation() const { return generation_; }
    [[nodiscard]] std::uint64_t bytes(std::uint32_t folder) const { return bytes_[folder]; }
    /// What the folder has beside its folders, its files and the irregular items in it.
    [[nodiscard]] std::uint64_t ownBytes(std::uint32_t folder) const { return own_[folder]; }
    [[nodiscard]] const std::vector<IrregularItem>& irregular() const { return irregular_; }
    [[nodiscard]] FileKind kind(std::uint32_t folder) const;
    /// Records below the folder.
    [[nodiscard]] std::int64_t itemsBelow(std::uint32_t folder) const;
    [[nodiscard]] RowRange filesOf(std::uint32_t folder) const {
        return {table_.firstFile(folder), table_.firstFile(folder) + table_.fileCount(folder)};
    }

    [[nodiscard]] File file(std::uint32_t position);
    /// Valid until the next call.
    [[nodiscard]] std::string_view fileName(std::uint32_t position);

    /// The device and the number of each folder; read when first asked for.
    [[nodiscard]] std::optional<FileIdentity> identity(std::uint32_t folder) {
        if (identities_.empty()) readIdentities();
        return identities_[folder];
    }

private:
    void sumUp();
    void readIrregular(const FolderContents& contents);
    void readIdentities();

    const OpenGeneration& generation_;
    const GenerationRows& rows_;
    FolderTable table_;
    RowReader sizes_;
    FileNames& names_;
    std::shared_ptr<const FileNames::Chunk> name_;  ///< what was asked for last
    GrowthSide* other_ = nullptr;                   ///< whose sizes are read of the first `sharedLayers_` layers
    std::uint32_t sharedLayers_ = 0;
    std::vector<std::uint64_t> bytes_;
    std::vector<std::uint64_t> own_;
    std::vector<IrregularItem> irregular_;
    boost::unordered_flat_map<std::uint32_t, File>
        irregularFolders_;  ///< with a record that is no row of the tree: a scan's root
    std::vector<std::optional<FileIdentity>> identities_;
};

}  // namespace KestrelCore
