#pragma once

#include "Deletion/SafetyRules.hpp"
#include "KestrelCore/Model/FileRecord.hpp"
#include "KestrelCore/Platform/FileManager.hpp"

#include <vector>

namespace KestrelCore {

/// What every item passes right before its removal, and what a plan asks beforehand: the safety policy, and what paths
/// alone don't tell. Immutable; any thread. Blocks on the disk.
class DeletionGate {
public:
    /// Looks up which items are protected under any path.
    DeletionGate();

    /// What the item must still be when it is removed. Throws `KestrelError`: `safetyViolation` for what is never
    /// removed, `staleItem` for what is no longer the item of the record.
    [[nodiscard]] ExpectedItem validated(const FileRecord& record) const;

private:
    std::vector<SafetyRules::ProtectedIdentity> protected_;
};

}  // namespace KestrelCore
