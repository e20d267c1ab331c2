#include "Platform/macOS/Walk/Portable/PlainRecords.hpp"

#include "Platform/POSIX/FileDescriptor.hpp"
#include "Platform/macOS/Walk/Portable/BulkAttributes.hpp"

#include <array>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <memory>
#include <string_view>
#include <unistd.h>

namespace KestrelCore {

namespace {

namespace Common = BulkAttributes::Common;

/// Where a descriptor stands whose folder was listed plainly. No listing stops here but by one chance in 2^30; any file
/// system takes a place of 31 bits.
constexpr off_t listedPlace = 0x4B65'7374;

std::uint32_t typeOf(unsigned char listed) noexcept {
    using Type = BulkAttributes::ItemType;
    switch (listed) {
    case DT_REG: return static_cast<std::uint32_t>(Type::regular);
    case DT_DIR: return static_cast<std::uint32_t>(Type::directory);
    case DT_LNK: return static_cast<std::uint32_t>(Type::symbolicLink);
    case DT_FIFO: return static_cast<std::uint32_t>(Type::fifo);
    case DT_SOCK: return static_cast<std::uint32_t>(Type::socket);
    case DT_CHR: return static_cast<std::uint32_t>(Type::characterDevice);
    case DT_BLK: return static_cast<std::uint32_t>(Type::blockDevice);
    default: return 0;
    }
}

template <typename Value>
void append(std::string& bytes, const Value& value) {
    std::array<char, sizeof value> raw;
    std::memcpy(raw.data(), &value, sizeof value);
    bytes.append(raw.data(), raw.size());
}

void appendRecord(std::string& bytes, std::string_view name, std::uint32_t type, std::uint64_t inode) {
    constexpr std::size_t alignment = 4;
    constexpr std::size_t wordBytes = sizeof(std::uint32_t);
    // Behind the length, the masks, the type and the inode comes the name.
    const std::size_t typeBytes = type == 0 ? 0 : wordBytes;
    const std::size_t nameOffset = (6 + 2) * wordBytes + typeBytes + sizeof inode;
    const std::size_t padding = (alignment - (name.size() + 1) % alignment) % alignment;
    const std::size_t length = nameOffset + name.size() + 1 + padding;
    append(bytes, static_cast<std::uint32_t>(length));
    append(bytes, Common::returned | Common::name | Common::inode | (type == 0 ? 0 : Common::type));
    for (int group = 1; group < 5; ++group) append(bytes, std::uint32_t{0});
    append(bytes, static_cast<std::int32_t>(nameOffset - 6 * wordBytes));
    append(bytes, static_cast<std::uint32_t>(name.size() + 1));
    if (type != 0) append(bytes, type);
    append(bytes, inode);
    bytes.append(name).append(1 + padding, '\0');
}

}  // namespace

PlainRecords PlainRecords::read(int folder, int refusal) {
    PlainRecords records;
    // The descriptor's place is the folder's, whoever goes on with it. Some of its entries may have been given by the
    // other call before it failed: those that are left are not to be had, and half a list would pass for a whole one.
    const off_t place = ::lseek(folder, 0, SEEK_CUR);
    if (place == listedPlace) return records;
    if (place != 0) {
        records.errorNumber = refusal;
        return records;
    }
    const auto close = [](DIR* stream) { ::closedir(stream); };
    FileDescriptor own{::fcntl(folder, F_DUPFD_CLOEXEC, 0)};
    const std::unique_ptr<DIR, decltype(close)> stream{own.isOpen() ? ::fdopendir(own.get()) : nullptr, close};
    if (stream == nullptr) {
        records.errorNumber = errno;
        return records;
    }
    (void)own.release();
    while (true) {
        errno = 0;
        const dirent* entry = ::readdir(stream.get());
        if (entry == nullptr) {
            records.errorNumber = errno;
            if (records.errorNumber == 0 && ::lseek(folder, listedPlace, SEEK_SET) < 0) records.errorNumber = errno;
            return records;
        }
        const std::string_view name{entry->d_name};
        if (name == "." || name == "..") continue;
        if (records.count == mostEntries) {
            records.errorNumber = EOVERFLOW;
            return records;
        }
        appendRecord(records.bytes, name, typeOf(entry->d_type), entry->d_ino);
        ++records.count;
    }
}

}  // namespace KestrelCore
