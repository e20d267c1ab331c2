#pragma once

#include "Platform/POSIX/Walk/FolderSource.hpp"
#include "Platform/macOS/Walk/Portable/BulkAttributes.hpp"

#include <cstddef>
#include <span>
#include <vector>

namespace KestrelCore {

/// Lists folders with the statuses of what is in them in one call, and looks at an entry only where the listing does
/// not say enough of it; at folders always. What can't be listed so is listed by name.
class BulkFolders : public FolderSource {
public:
    BulkFolders();

    bool readPiece(int folder) final;
    const ListedEntry* next() final;
    int errorNumber() const final { return errorNumber_; }
    int look(int folder, const ListedEntry& entry, FileStatus& status, EntryJoint& joint) final;

private:
    /// As `getattrlistbulk` with what `BulkAttributes` names: how many records were put into the buffer, 0 at the end,
    /// below 0 with `errno` set.
    [[nodiscard]] virtual int list(int folder, std::span<char> buffer) = 0;
    bool readPlainly(int folder, int refusal);

    std::vector<char> buffer_;
    std::size_t filled_ = 0;
    std::size_t offset_ = 0;
    int errorNumber_ = 0;
    BulkRecord record_;
    ListedEntry entry_;
};

}  // namespace KestrelCore
