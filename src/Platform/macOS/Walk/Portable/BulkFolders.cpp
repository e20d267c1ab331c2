#include "Platform/macOS/Walk/Portable/BulkFolders.hpp"

#include "Base/BoundedRetry.hpp"
#include "Platform/POSIX/Walk/StatusAt.hpp"
#include "Platform/macOS/Walk/Portable/PlainRecords.hpp"

#include <cerrno>

namespace KestrelCore {

namespace {

/// One call describes some five hundred entries; more would only make the first of a large folder wait.
constexpr std::size_t pieceBytes = std::size_t{64} << 10;

/// Whether the names may be had all the same: the file system does not know the call, or the folder may be listed and
/// not searched, and then all that is more than a name is refused.
bool isForNamesAlone(int error) noexcept {
    return error == ENOTSUP || error == EINVAL || error == ENOSYS || error == EACCES;
}

}  // namespace

BulkFolders::BulkFolders() : buffer_(pieceBytes) {}

bool BulkFolders::readPiece(int folder) {
    filled_ = offset_ = 0;
    const int count = repeatedWhenInterrupted([&] { return list(folder, buffer_); });
    if (count < 0 && isForNamesAlone(errno)) return readPlainly(folder, errno);
    // There is nothing in a folder that was removed.
    errorNumber_ = count < 0 && errno != ENOENT ? errno : 0;
    if (count <= 0) return false;
    const auto extent = bulkRecordsExtent(buffer_, static_cast<std::size_t>(count));
    if (!extent) errorNumber_ = EIO;
    filled_ = extent.value_or(0);
    return filled_ > 0;
}

bool BulkFolders::readPlainly(int folder, int refusal) {
    PlainRecords plain = PlainRecords::read(folder, refusal);
    errorNumber_ = plain.errorNumber;
    if (plain.count == 0) return false;
    if (plain.bytes.size() > buffer_.size()) buffer_.resize(plain.bytes.size());
    plain.bytes.copy(buffer_.data(), plain.bytes.size());
    filled_ = plain.bytes.size();
    return true;
}

const ListedEntry* BulkFolders::next() {
    if (offset_ == filled_) return nullptr;
    const std::size_t length = readBulkRecord(std::span{buffer_}.first(filled_).subspan(offset_), record_);
    if (length == 0) {
        offset_ = filled_;
        errorNumber_ = EIO;
        return nullptr;
    }
    offset_ += length;
    entry_.name = record_.name;
    entry_.inode = record_.status.inode;
    entry_.isFolder = record_.status.type == FileType::directory;
    entry_.isOfUnknownType = !record_.hasType;
    return &entry_;
}

int BulkFolders::look(int folder, const ListedEntry& entry, FileStatus& status, EntryJoint& joint) {
    const bool isListed = &entry == &entry_;
    if (isListed && record_.isTrigger)
        joint.kind = EntryJoint::Kind::trigger;
    else if (isListed && record_.isMountPoint)
        joint.kind = EntryJoint::Kind::mountPoint;
    else if (isListed && record_.isFirmlink)
        joint.kind = EntryJoint::Kind::sameVolume;
    // A folder is looked at: where something is mounted on it, and where the volume goes on in another, the listing may
    // tell of the folder beneath, and not every file system says so; the walk would then find another folder behind the
    // name and not enter it. A look at a trigger could already be the one that mounts.
    const bool isFolder = record_.status.type == FileType::directory;
    const bool isEnough = isListed && record_.isComplete && (record_.isTrigger || !isFolder);
    if (isEnough) {
        status = record_.status;
        return 0;
    }
    const int error = statusAt(folder, entry.name.data(), status, joint.mount);
    // One word for it is enough to stay out.
    if (isListed && record_.status.isDataless) status.isDataless = true;
    return error;
}

}  // namespace KestrelCore
