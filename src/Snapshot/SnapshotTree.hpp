#pragma once

#include "Snapshot/ListedTree.hpp"
#include "Snapshot/RecordStorage.hpp"
#include "Snapshot/TreeOrder.hpp"

#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

namespace KestrelCore {

/// A snapshot's records as folders that can be listed. Made once, in some tenths of a second for a million records.
class SnapshotTree final : public ListedTree {
public:
    /// The storage must outlive this.
    explicit SnapshotTree(const RecordStorage& storage);

    [[nodiscard]] std::uint32_t folderCount() const override;
    [[nodiscard]] std::uint32_t end(std::uint32_t folder) const override;
    [[nodiscard]] std::string_view name(std::uint32_t folder) const override;
    [[nodiscard]] bool hasRecord(std::uint32_t folder) const override;
    [[nodiscard]] Range files(std::uint32_t folder) const override;
    [[nodiscard]] Range filesBelow(std::uint32_t folder) const override;
    [[nodiscard]] const Irregulars& irregular() const override { return *irregular_; }
    [[nodiscard]] std::shared_ptr<const FolderLengths> lengths(std::uint32_t folder) const override;
    [[nodiscard]] std::vector<FileRecord> records(std::uint32_t folder, const Places& places) const override;

private:
    const RecordStorage& storage_;
    TreeOrder order_;
    std::shared_ptr<const FolderLengths> lengths_;
    std::unique_ptr<const Irregulars> irregular_;
};

}  // namespace KestrelCore
