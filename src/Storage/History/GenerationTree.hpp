#pragma once

#include "Base/Lazy.hpp"
#include "Snapshot/ListedTree.hpp"
#include "Storage/History/FolderTable.hpp"
#include "Storage/History/OpenGeneration.hpp"

#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

namespace KestrelCore {

/// A generation's folders, to be listed: of its columns what a listing needs, read when it is first asked for. What is
/// read of large parts of the tree is kept. Any thread; throws what reading throws.
class GenerationTree final : public ListedTree {
public:
    /// The generation must outlive this.
    explicit GenerationTree(const OpenGeneration& generation) : generation_{generation} {}

    [[nodiscard]] std::uint32_t folderCount() const override;
    [[nodiscard]] std::uint32_t end(std::uint32_t folder) const override;
    [[nodiscard]] std::string_view name(std::uint32_t folder) const override;
    [[nodiscard]] bool hasRecord(std::uint32_t folder) const override;
    [[nodiscard]] Range files(std::uint32_t folder) const override;
    [[nodiscard]] Range filesBelow(std::uint32_t folder) const override;
    [[nodiscard]] const Irregulars& irregular() const override;
    [[nodiscard]] std::shared_ptr<const FolderLengths> lengths(std::uint32_t folder) const override;
    [[nodiscard]] std::vector<FileRecord> records(std::uint32_t folder, const Places& places) const override;

private:
    /// Whether so much lies below that what is read of it is worth keeping: then all is read, which makes all later
    /// listings fast.
    [[nodiscard]] bool isLarge(std::uint32_t folder) const;
    [[nodiscard]] std::shared_ptr<const FolderLengths> readLengths(std::uint32_t first) const;
    [[nodiscard]] std::shared_ptr<const FolderContents> contents(std::uint32_t folder) const;
    [[nodiscard]] std::vector<Irregular> readIrregular() const;

    const OpenGeneration& generation_;
    Lazy<std::shared_ptr<const FolderLengths>> lengths_;    ///< of all folders
    Lazy<std::shared_ptr<const FolderContents>> contents_;  ///< of all folders
    Lazy<Irregulars> irregular_;
};

}  // namespace KestrelCore
