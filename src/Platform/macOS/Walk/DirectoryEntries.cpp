#include "Platform/POSIX/Walk/DirectoryEntries.hpp"

#include "Base/BoundedRetry.hpp"
#include "Platform/macOS/Walk/AttributeCall.hpp"
#include "Platform/macOS/Walk/Portable/BulkAttributes.hpp"
#include "Platform/macOS/Walk/Portable/PlainRecords.hpp"

#include <algorithm>
#include <cerrno>
#include <span>

namespace KestrelCore {

namespace {

/// The buffer holds this much at least; more when a folder had to be listed by names alone.
constexpr std::size_t pieceBytes = std::size_t{64} << 10;

}  // namespace

DirectoryEntries::DirectoryEntries(std::size_t mostEntries)
    : buffer_{std::make_unique_for_overwrite<char[]>(pieceBytes)}, entriesLeft_{mostEntries} {}

bool DirectoryEntries::readPiece(int folder) {
    if (errorNumber_ != 0 && entriesLeft_ == 0) return false;
    offset_ = filled_ = 0;
    const ContentStaysAway guard;
    const int count = repeatedWhenInterrupted([&] { return listNames(folder, {buffer_.get(), pieceBytes}); });
    if (count < 0 && (errno == ENOTSUP || errno == EINVAL || errno == ENOSYS)) {
        const PlainRecords plain = PlainRecords::read(folder, errno);
        errorNumber_ = plain.errorNumber;
        // Half a list would pass for a whole one.
        if (plain.count == 0 || errorNumber_ != 0) return false;
        buffer_ = std::make_unique_for_overwrite<char[]>(std::max(plain.bytes.size(), pieceBytes));
        plain.bytes.copy(buffer_.get(), plain.bytes.size());
        filled_ = plain.bytes.size();
        return true;
    }
    // There is nothing in a folder that was removed.
    errorNumber_ = count < 0 && errno != ENOENT ? errno : 0;
    if (count <= 0) return false;
    const auto extent = bulkRecordsExtent({buffer_.get(), pieceBytes}, static_cast<std::size_t>(count));
    if (!extent) errorNumber_ = EIO;
    filled_ = extent.value_or(0);
    return filled_ > 0;
}

const ListedEntry* DirectoryEntries::next() {
    if (offset_ == filled_) return nullptr;
    BulkRecord record;
    const std::size_t length = readBulkRecord({buffer_.get() + offset_, filled_ - offset_}, record);
    if (length == 0 || entriesLeft_ == 0) {
        // What can't be understood is not gone on with, here or in another folder.
        errorNumber_ = length == 0 ? EIO : EOVERFLOW;
        entriesLeft_ = 0;
        offset_ = filled_;
        return nullptr;
    }
    offset_ += length;
    --entriesLeft_;
    entry_.name = record.name;
    entry_.inode = record.status.inode;
    entry_.isFolder = record.status.type == FileType::directory;
    entry_.isOfUnknownType = !record.hasType;
    return &entry_;
}

}  // namespace KestrelCore
