#pragma once

#include "Platform/macOS/Walk/Portable/BulkAttributes.hpp"

#include <cstdint>
#include <string>

namespace KestrelCore {

/// What `getattrlistbulk` would say of one entry.
struct MadeBulkRecord {
    std::string name{};
    FileStatus status{};
    std::uint32_t flags = 0;
    std::uint32_t mountStatus = 0;
    std::uint32_t error = 0;
    /// What is given, besides an error; of folders and of all else only where it is one.
    std::uint32_t common = BulkAttributes::Common::all & ~BulkAttributes::Common::error;
    std::uint32_t directory = BulkAttributes::Directory::all;
    std::uint32_t file = BulkAttributes::File::all;
};

/// The record as it stands in a buffer.
[[nodiscard]] std::string bulkRecordBytes(const MadeBulkRecord& record);

}  // namespace KestrelCore
