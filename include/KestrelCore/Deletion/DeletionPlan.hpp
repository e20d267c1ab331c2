#pragma once

#include "KestrelCore/Base/CancellationToken.hpp"
#include "KestrelCore/Base/Text.hpp"
#include "KestrelCore/Deletion/DeletionMeasurement.hpp"
#include "KestrelCore/Deletion/ProtectedPlace.hpp"
#include "KestrelCore/Export.hpp"
#include "KestrelCore/Model/FileRecord.hpp"
#include "KestrelCore/Model/KestrelError.hpp"

#include <memory>
#include <optional>
#include <vector>

namespace KestrelCore {

class DeletionGate;

/// What a host asks before it asks the user: nothing here changes anything on the disk. What is protected is looked up
/// once, so that a plan is made for one request. Immutable; any thread; blocks on the disk.
class KESTRELCORE_EXPORT DeletionPlan {
public:
    /// `protectedPlaces` are those that the coordinator of the request is told, too.
    explicit DeletionPlan(const std::vector<ProtectedPlace>& protectedPlaces = {});
    DeletionPlan(const DeletionPlan&) = delete;
    DeletionPlan& operator=(const DeletionPlan&) = delete;
    ~DeletionPlan();

    /// A record of the item as it is now, for one that no scan has seen: with a new identifier, and for a folder with
    /// the size of everything in it, as `measurement` finds it. Links are not followed. Empty when there is no such
    /// item.
    [[nodiscard]] static std::optional<FileRecord> freshRecord(const Text& path, DeletionMeasurement& measurement,
                                                               const CancellationToken& cancellation = {});

    /// Why a removal would be refused now: `safetyViolation` for what is never removed (what is or holds a home
    /// directory, a trash, the running program or a protected place, under any path), `staleItem` for what is gone or
    /// no longer the item of the record, `unavailable` where a file system is mounted on the item or in it. Empty when
    /// it would not. Removing asks again, and may fail for other reasons of the system's.
    [[nodiscard]] std::optional<KestrelError> objection(const FileRecord& record) const;
    /// The same as a finished sentence.
    [[nodiscard]] std::optional<Text> refusal(const FileRecord& record) const;

private:
    std::unique_ptr<const DeletionGate> gate_;
};

}  // namespace KestrelCore
