#include "Platform/macOS/Walk/Portable/BulkAttributes.hpp"

#include "Platform/POSIX/Walk/StatusAt.hpp"

#include <cerrno>
#include <cstring>
#include <string_view>

// A file system fills these buffers, and it can be one that somebody wrote to mislead. So no number in them is believed
// before it was compared with what is there, and a name that would lead out of the folder is no name.

namespace KestrelCore {

namespace {

namespace Common = BulkAttributes::Common;
namespace Directory = BulkAttributes::Directory;
namespace File = BulkAttributes::File;

constexpr std::size_t alignment = 4;
constexpr std::size_t headBytes = 6 * sizeof(std::uint32_t);  // the length and the five masks

struct Masks {
    std::uint32_t common = 0;
    std::uint32_t volume = 0;
    std::uint32_t directory = 0;
    std::uint32_t file = 0;
    std::uint32_t fork = 0;
};

/// Where a name stands: from the attribute that says so, and how long with its NUL.
struct NameReference {
    std::int32_t offset = 0;
    std::uint32_t length = 0;
};

struct Time {
    std::int64_t seconds = 0;
    std::int64_t nanoseconds = 0;
};

/// Goes through a record; what it can't give for want of bytes makes it broken, and then it gives nothing more.
class Cursor {
public:
    explicit Cursor(std::span<const char> bytes) : bytes_{bytes} {}

    [[nodiscard]] std::size_t offset() const { return offset_; }
    [[nodiscard]] bool isBroken() const { return isBroken_; }

    template <typename Value>
    void take(Value& value) {
        isBroken_ = isBroken_ || bytes_.size() - offset_ < sizeof value;
        if (isBroken_) return;
        std::memcpy(&value, bytes_.data() + offset_, sizeof value);
        offset_ += sizeof value;
    }
    /// Takes it when the mask has the attribute.
    template <typename Value>
    bool take(std::uint32_t mask, std::uint32_t attribute, Value& value) {
        if ((mask & attribute) == 0) return false;
        take(value);
        return true;
    }

private:
    std::span<const char> bytes_;
    std::size_t offset_ = 0;
    bool isBroken_ = false;
};

/// The length that the bytes begin with; 0 when it can't be one.
std::size_t lengthOf(std::span<const char> bytes) noexcept {
    std::uint32_t length = 0;
    if (bytes.size() < sizeof length) return 0;
    std::memcpy(&length, bytes.data(), sizeof length);
    return length >= headBytes && length <= bytes.size() && length % alignment == 0 ? length : 0;
}

FileType fileType(std::uint32_t type) noexcept {
    using Type = BulkAttributes::ItemType;
    switch (static_cast<Type>(type)) {
    case Type::regular: return FileType::regular;
    case Type::directory: return FileType::directory;
    case Type::symbolicLink: return FileType::symbolicLink;
    case Type::fifo: return FileType::fifo;
    case Type::socket: return FileType::socket;
    case Type::characterDevice: return FileType::characterDevice;
    case Type::blockDevice: return FileType::blockDevice;
    }
    return FileType::unknown;
}

/// The name at that distance from its attribute; empty when it is not in the record or no name.
std::string_view nameAt(std::span<const char> record, std::size_t attribute, NameReference reference) noexcept {
    const std::int64_t begin = static_cast<std::int64_t>(attribute) + reference.offset;
    if (begin < 0 || reference.length < 2) return {};
    const auto first = static_cast<std::size_t>(begin);
    if (first > record.size() || reference.length > record.size() - first) return {};
    const std::string_view name{record.data() + first, reference.length - 1};
    if (record[first + name.size()] != '\0' || name == "." || name == "..") return {};
    constexpr std::string_view notInNames{"/\0", 2};
    return name.find_first_of(notInNames) == std::string_view::npos ? name : std::string_view{};
}

void setSizes(BulkRecord& record, std::int64_t size, std::int64_t allocated) noexcept {
    constexpr std::int64_t block = 512;
    if (size < 0 || allocated < 0 || allocated > largestAllocation) {
        record.errorNumber = EOVERFLOW;
        return;
    }
    record.status.size = size;
    // `lstat` gives blocks, and both must say the same.
    record.status.allocatedBytes = (allocated + block - 1) / block * block;
}

/// Folders come without sizes on some file systems; they count for nothing anyway.
void takeFolder(Cursor& cursor, std::uint32_t mask, BulkRecord& record) noexcept {
    std::uint32_t links = 1;
    std::uint32_t mountStatus = 0;
    std::int64_t allocated = 0;
    std::int64_t size = 0;
    cursor.take(mask, Directory::links, links);
    cursor.take(mask, Directory::mountStatus, mountStatus);
    cursor.take(mask, Directory::allocated, allocated);
    cursor.take(mask, Directory::size, size);
    record.isMountPoint = (mountStatus & BulkAttributes::isMountPoint) != 0;
    record.isTrigger = (mountStatus & BulkAttributes::isTrigger) != 0;
    if (mask == 0) return;
    record.status.links = links;
    setSizes(record, size, allocated);
}

/// Whether all was there.
bool takeFile(Cursor& cursor, std::uint32_t mask, BulkRecord& record) noexcept {
    std::uint32_t links = 1;
    std::int64_t size = 0;
    std::int64_t allocated = 0;
    const bool hasLinks = cursor.take(mask, File::links, links);
    bool hasSize = cursor.take(mask, File::totalSize, size);
    const bool hasAllocated = cursor.take(mask, File::allocated, allocated);
    hasSize = cursor.take(mask, File::size, size) || hasSize;
    if (mask == 0) return false;
    record.status.links = links;
    setSizes(record, size, allocated);
    return hasLinks && hasSize && hasAllocated;
}

}  // namespace

std::optional<std::size_t> bulkRecordsExtent(std::span<const char> bytes, std::size_t count) noexcept {
    std::size_t extent = 0;
    for (; count > 0; --count) {
        const std::size_t length = lengthOf(bytes.subspan(extent));
        if (length == 0) return std::nullopt;
        extent += length;
    }
    return extent;
}

std::size_t readBulkRecord(std::span<const char> bytes, BulkRecord& record) noexcept {
    record = {};
    const std::size_t length = lengthOf(bytes);
    if (length == 0) return 0;
    bytes = bytes.first(length);
    Cursor cursor{bytes};
    std::uint32_t repeatedLength = 0;
    Masks masks;
    cursor.take(repeatedLength);
    cursor.take(masks);
    // Where an attribute stands that is not known, nobody knows where the next one begins.
    if ((masks.common & ~Common::all) != 0 || (masks.directory & ~Directory::all) != 0 ||
        (masks.file & ~File::all) != 0 || masks.volume != 0 || masks.fork != 0) {
        return 0;
    }
    std::uint32_t error = 0;
    NameReference reference;
    std::uint32_t device = 0;
    std::uint32_t type = 0;
    Time modified;
    std::uint32_t flags = 0;
    cursor.take(masks.common, Common::error, error);
    const std::size_t nameAttribute = cursor.offset();
    if (!cursor.take(masks.common, Common::name, reference)) return 0;
    const bool hasDevice = cursor.take(masks.common, Common::device, device);
    record.hasType = cursor.take(masks.common, Common::type, type);
    const bool hasModified = cursor.take(masks.common, Common::modified, modified);
    const bool hasFlags = cursor.take(masks.common, Common::flags, flags);
    const bool hasInode = cursor.take(masks.common, Common::inode, record.status.inode);
    record.status.type = fileType(type);
    const bool isFolder = record.status.type == FileType::directory;
    if (isFolder ? masks.file != 0 : masks.directory != 0) return 0;
    bool hasSizes = true;
    if (isFolder)
        takeFolder(cursor, masks.directory, record);
    else
        hasSizes = takeFile(cursor, masks.file, record);
    if (cursor.isBroken()) return 0;
    record.name = nameAt(bytes, nameAttribute, reference);
    if (record.name.empty()) return 0;

    constexpr std::int64_t nanosecondsInASecond = 1'000'000'000;
    const bool isTime = modified.nanoseconds >= 0 && modified.nanoseconds < nanosecondsInASecond;
    record.status.device = device;
    record.status.modifiedSeconds = modified.seconds;
    record.status.modifiedNanoseconds = isTime ? static_cast<std::uint32_t>(modified.nanoseconds) : 0;
    record.status.isUserHidden = (flags & BulkAttributes::hiddenFlag) != 0;
    record.status.isDataless = (flags & BulkAttributes::datalessFlag) != 0;
    record.isFirmlink = (flags & BulkAttributes::firmlinkFlag) != 0;
    if (error != 0) record.errorNumber = static_cast<int>(error);
    record.isComplete =
        record.errorNumber == 0 && hasDevice && record.hasType && hasModified && hasFlags && hasInode && hasSizes;
    return length;
}

}  // namespace KestrelCore
