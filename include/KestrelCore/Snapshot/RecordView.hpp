#pragma once

#include "KestrelCore/Base/Date.hpp"
#include "KestrelCore/Base/FileIdentity.hpp"
#include "KestrelCore/Export.hpp"
#include "KestrelCore/Model/FileKind.hpp"
#include "KestrelCore/Model/RiskLevel.hpp"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace KestrelCore {

class ScanSnapshot;

/// What a snapshot holds of one record but for its path, which it does not keep: made without copying a text, so for
/// looking through all records. The fields mean what the accessors of `FileRecord` with these names do.
struct KESTRELCORE_EXPORT RecordView {
    std::string_view name;           ///< valid while the snapshot, or a copy of it, lives; so is the extension
    std::string_view fileExtension;  ///< lowercased, no dot; empty when there is none
    std::optional<FileIdentity> identity;
    std::optional<Date> modifiedAt;
    std::int64_t logicalBytes = 0;
    std::int64_t allocatedBytes = 0;
    std::int64_t aggregateAllocatedBytes = 0;
    std::int64_t displayBytes = 0;
    FileKind kind = FileKind::file;
    RiskLevel risk = RiskLevel::normal;
    bool isHidden = false;
    bool isCloudPlaceholder = false;
    bool isHardLinkDuplicate = false;

    /// Of `snapshot.records()[index]`; `index` must be below their number (nothing checks it). Any thread.
    [[nodiscard]] static RecordView of(const ScanSnapshot& snapshot, std::size_t index);
    /// Replaces `path` by that record's path. Costs the more the deeper the item lies.
    static void assignPath(const ScanSnapshot& snapshot, std::size_t index, std::string& path);
};

}  // namespace KestrelCore
