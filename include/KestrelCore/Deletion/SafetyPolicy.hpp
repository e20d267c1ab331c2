#pragma once

#include "KestrelCore/Base/Text.hpp"
#include "KestrelCore/Base/URL.hpp"
#include "KestrelCore/Export.hpp"
#include "KestrelCore/Model/FileRecord.hpp"
#include "KestrelCore/Model/RiskLevel.hpp"

#include <optional>

namespace KestrelCore {

/// The single authority on which paths may be touched. Paths are judged by their text, under canonical equivalence and
/// case-sensitively; only `validate` looks at the disk. The home directory and the own bundle are asked for at first
/// use and kept. Any thread.
class KESTRELCORE_EXPORT SafetyPolicy {
public:
    SafetyPolicy() = delete;

    /// The path on which all rules work: dot segments, doubled and trailing slashes removed, links not resolved.
    [[nodiscard]] static Text canonicalPath(const URL& url);
    /// Why the item must not be removed, as a finished sentence; empty when nothing speaks against it.
    [[nodiscard]] static std::optional<Text> blockedReason(const URL& url);
    /// How dangerous it is to remove the item. Its name and extension are those of the URL as given.
    [[nodiscard]] static RiskLevel risk(const URL& url);
    /// The gate before a removal: returns when the item may be removed and still is the scanned one. Throws
    /// `KestrelError`: `safetyViolation` for a blocked path or a symbolic link anywhere in it, `staleItem` when the
    /// item is gone or has another identity than the record's (a record without one never passes). Blocks on the disk.
    static void validate(const FileRecord& record);
};

}  // namespace KestrelCore
