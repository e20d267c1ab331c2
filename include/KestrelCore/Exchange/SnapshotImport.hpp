#pragma once

#include "KestrelCore/Base/CancellationToken.hpp"
#include "KestrelCore/Base/Date.hpp"
#include "KestrelCore/Base/Text.hpp"
#include "KestrelCore/Exchange/ExchangeFormat.hpp"
#include "KestrelCore/Export.hpp"
#include "KestrelCore/Snapshot/ScanSnapshot.hpp"

#include <cstdint>
#include <optional>
#include <vector>

namespace KestrelCore {

struct ImportOptions {
    std::optional<Text> displayName{};  ///< of the scan; absent: the last component of its top
    Date now{};                         ///< when it is taken over, for a file that does not say when it was scanned
    CancellationToken cancellation{};
};

/// A scan of some disk, as a file tells of it.
struct KESTRELCORE_EXPORT ImportedScan {
    ScanSnapshot snapshot;        ///< its records have no identity: nothing on a disk is ever taken for one of them
    std::optional<Text> program;  ///< that wrote the file, with its version, where it says so
    std::optional<Text> host;     ///< whose disk it is, where the file says so
    bool isComplete = true;       ///< false where the file says that the scan ended early
    std::vector<Text> leftOut{};  ///< what the scan was told to leave out, where the file says so, each a few words
    std::int64_t unread = 0;      ///< items that could not be read when they were scanned
};

/// Reads what `exportFolder` writes as `ncdu` or `lines`, what ncdu and gdu write, gzip and zstd of it; which it is
/// shows in the first bytes. The text is read as it comes; records take some 120 bytes each meanwhile.
///
/// Throws `ImportError` for everything else: broken or cut off text, what contradicts itself, names that no folder can
/// hold, sizes that no disk has, more than 100,000 levels, a path of more than a MiB, text that a short input expands
/// to beyond all measure. Empty when it was cancelled.
[[nodiscard]] KESTRELCORE_EXPORT std::optional<ImportedScan> importScan(const ByteSource& source,
                                                                        const ImportOptions& options = {});

}  // namespace KestrelCore
