#pragma once

#include "KestrelCore/Base/CancellationToken.hpp"
#include "KestrelCore/Base/Text.hpp"
#include "KestrelCore/Export.hpp"

#include <cstdint>
#include <memory>
#include <vector>

namespace KestrelCore {

/// What items take on the disk, and what really comes free when they go. Walks each item once, as a scan would: on one
/// file system, links not followed, with a scan's bounds. Blocks on the disk; one thread.
class KESTRELCORE_EXPORT DeletionMeasurement {
public:
    DeletionMeasurement();
    DeletionMeasurement(const DeletionMeasurement&) = delete;
    DeletionMeasurement& operator=(const DeletionMeasurement&) = delete;
    ~DeletionMeasurement();

    /// What one item takes.
    struct Amount {
        std::int64_t allocatedBytes = 0;  ///< folders' own blocks included; a file with several names in it counts once
        std::uint64_t unread = 0;         ///< items and folders that could not be looked at, or not to their end
    };
    /// Measures the item at an absolute path, unless that was done before. A cancelled walk gives what it has seen, and
    /// so does one that ended for another reason; both count as unread. The cancelled one is walked anew the next time.
    Amount measure(const Text& path, const CancellationToken& cancellation = {});

    /// What comes free when the items at these paths, each measured before, have all gone: a file that has another name
    /// elsewhere gives nothing. An item below another one, or named twice, counts once.
    [[nodiscard]] std::int64_t freedBytes(const std::vector<Text>& paths) const;

private:
    struct State;
    std::unique_ptr<State> state_;
};

}  // namespace KestrelCore
