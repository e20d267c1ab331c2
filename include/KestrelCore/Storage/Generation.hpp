#pragma once

#include "KestrelCore/Base/Date.hpp"
#include "KestrelCore/Base/Text.hpp"
#include "KestrelCore/Base/UUID.hpp"
#include "KestrelCore/Export.hpp"
#include "KestrelCore/Model/ScanScope.hpp"

#include <array>
#include <chrono>
#include <cstdint>
#include <optional>
#include <vector>

namespace KestrelCore {

/// How a generation of a history came to be.
enum class GenerationOrigin : std::uint8_t {
    scan = 0,
    import = 1,   ///< taken over from another store or program
    removal = 2,  ///< from the generation before, without items that are gone
};

/// Where a scan comes from that was not made here: both absent of one that was.
struct GenerationSource {
    std::optional<Text> name;  ///< of the file that it was read from
    std::optional<Text> host;  ///< whose disk it shows, where the file says so

    bool operator==(const GenerationSource&) const = default;
};

/// How a generation came to be, as far as its snapshot does not say.
struct GenerationProvenance {
    GenerationOrigin origin = GenerationOrigin::scan;
    bool isComplete = true;       ///< false of a scan that ended early
    std::vector<Text> leftOut{};  ///< see `Generation`
    bool crossesMounts = false;   ///< see `Generation`
    GenerationSource source{};
};

/// What a history says of one kept scan, without reading it.
struct KESTRELCORE_EXPORT Generation {
    std::int64_t number = 0;  ///< counts up over all roots; the order in which generations came; never used again
    UUID snapshot;            ///< the identifier of the snapshot
    ScanScope scope;
    Date startedAt;
    Date completedAt;
    std::int64_t records = 0;
    std::int64_t issues = 0;               ///< kept ones
    std::int64_t totalAllocatedBytes = 0;  ///< as of the snapshot
    bool isComplete = true;                ///< false of a scan that ended early
    bool isPinned = false;                 ///< thinning leaves it
    GenerationOrigin origin = GenerationOrigin::scan;
    std::int64_t storedBytes = 0;  ///< what it takes in the history; of most only what differs from one before
    bool isDifference = false;     ///< kept as the difference to an earlier one
    /// What the scan was told to leave out, each as a person reads it: a pattern as it was given, or words for a kind
    /// of folder. Empty of a scan of everything. The order is that of the scan's options.
    std::vector<Text> leftOut{};
    bool crossesMounts = false;  ///< whether other file systems below the root were entered
    GenerationSource source{};
};

/// What lies below a folder, the folder itself left out; further hard links count for no bytes.
struct FolderTotals {
    std::int64_t items = 0;
    std::int64_t allocatedBytes = 0;
    std::optional<Date> oldestChange;  ///< of a file, to the second; absent where none has a date
    std::optional<Date> newestChange;
    /// Bytes of files by when they were changed: within 30 days, 90 days, a year, three years, and earlier or unknown.
    /// The days count back from `agesCountedFrom`.
    std::array<std::int64_t, 5> bytesByAge{};
    Date agesCountedFrom;

    bool operator==(const FolderTotals&) const = default;
};

/// Which generations `thin` keeps. Of each root the newest is always kept, also the newest complete one, and so is what
/// is pinned. An incomplete one stands for no day and no week.
struct ThinningPolicy {
    std::chrono::days allWithin{7};          ///< every generation of this time
    std::chrono::days dailyWithin{31};       ///< then the last of each day
    std::chrono::days weeklyWithin{366};     ///< then the last of each week; of what is older none
    std::int64_t mostBytes = 2'000'000'000;  ///< in the history; the oldest go first until it fits
};

}  // namespace KestrelCore
