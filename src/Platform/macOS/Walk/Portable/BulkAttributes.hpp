#pragma once

#include "Platform/FileStatus.hpp"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

namespace KestrelCore {

/// What `getattrlistbulk` is asked for and what it answers with: a run of records, one for each entry of a folder. A
/// record begins with its length in bytes (4 bytes, which count), then the attributes that were given (5 × 4 bytes, a
/// mask for each group), an error number if there is one, and the attributes themselves in the order of the groups and
/// of the bits in them, each on a boundary of 4 bytes. The name stands behind all that; its attribute says how far away
/// and how long.
namespace BulkAttributes {

/// Attributes that every item can have.
namespace Common {
inline constexpr std::uint32_t name = 0x00000001;
inline constexpr std::uint32_t device = 0x00000002;
inline constexpr std::uint32_t type = 0x00000008;
inline constexpr std::uint32_t modified = 0x00000400;
inline constexpr std::uint32_t flags = 0x00040000;
inline constexpr std::uint32_t inode = 0x02000000;
inline constexpr std::uint32_t error = 0x20000000;
inline constexpr std::uint32_t returned = 0x80000000;
inline constexpr std::uint32_t all = name | device | type | modified | flags | inode | error | returned;
}  // namespace Common
/// Attributes of folders.
namespace Directory {
inline constexpr std::uint32_t links = 0x00000001;
inline constexpr std::uint32_t mountStatus = 0x00000004;
inline constexpr std::uint32_t allocated = 0x00000008;
inline constexpr std::uint32_t size = 0x00000020;
inline constexpr std::uint32_t all = links | mountStatus | allocated | size;
}  // namespace Directory
/// Attributes of all else.
namespace File {
inline constexpr std::uint32_t links = 0x00000001;
inline constexpr std::uint32_t totalSize = 0x00000002;  ///< of all forks
inline constexpr std::uint32_t allocated = 0x00000004;  ///< likewise
inline constexpr std::uint32_t size = 0x00000200;       ///< of the data, as `lstat` has it
inline constexpr std::uint32_t all = links | totalSize | allocated | size;
}  // namespace File

/// The types of items, which are not those of a mode.
enum class ItemType : std::uint32_t {
    regular = 1,
    directory = 2,
    blockDevice = 3,
    characterDevice = 4,
    symbolicLink = 5,
    socket = 6,
    fifo = 7
};

inline constexpr std::uint32_t isMountPoint = 1;  ///< in a mount status
inline constexpr std::uint32_t isTrigger = 2;

inline constexpr std::uint32_t hiddenFlag = 0x00008000;
inline constexpr std::uint32_t firmlinkFlag = 0x00800000;
inline constexpr std::uint32_t datalessFlag = 0x40000000;

}  // namespace BulkAttributes

/// One entry of a folder as the system describes it.
struct BulkRecord {
    std::string_view name;  ///< raw and no path; followed by a NUL, and valid as long as the bytes that were read
    FileStatus status;
    /// Why the system could not look at the entry, or EOVERFLOW for absurd claims; see `FileStatus`.
    int errorNumber = 0;
    bool hasType = false;
    /// `status` holds all that `lstat` would say, but for the links of a folder, which leave out "." and ".." here;
    /// nothing but the name is sure otherwise.
    bool isComplete = false;
    bool isMountPoint = false;
    bool isTrigger = false;   ///< something is mounted here as soon as somebody goes in
    bool isFirmlink = false;  ///< goes on in the volume that belongs to this one
};

/// How many of the bytes hold the `count` records at their beginning; empty when the lengths don't add up.
[[nodiscard]] std::optional<std::size_t> bulkRecordsExtent(std::span<const char> bytes, std::size_t count) noexcept;

/// Reads the record at the beginning of `bytes`: its length, or 0 when it is none that can be understood: cut off, with
/// attributes that nobody asked for, with a name that is none. Reads nothing outside of it.
[[nodiscard]] std::size_t readBulkRecord(std::span<const char> bytes, BulkRecord& record) noexcept;

}  // namespace KestrelCore
