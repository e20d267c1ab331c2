#pragma once

#include "KestrelCore/Base/Text.hpp"
#include "KestrelCore/Export.hpp"
#include "KestrelCore/Model/FileRecord.hpp"
#include "KestrelCore/Model/KestrelError.hpp"

#include <optional>

namespace KestrelCore {

class FileManager;

/// What a host asks before it asks the user: nothing here changes anything on the disk. Any thread; blocks on the disk.
class KESTRELCORE_EXPORT DeletionPlan {
public:
    DeletionPlan() = delete;

    /// A record of the item as it is now, for one that no scan has seen: with a new identifier, and for a folder with
    /// the size of everything in it. Links are not followed. Empty when there is no such item.
    [[nodiscard]] static std::optional<FileRecord> freshRecord(const Text& path, const FileManager& fileManager);

    /// Why a removal would be refused now: `safetyViolation` for what is never removed (the Trash, and what is
    /// protected under any path, too), `staleItem` for what is gone or no longer the item of the record. Empty when it
    /// would not. Removing asks again, and may fail for reasons of the system's.
    [[nodiscard]] static std::optional<KestrelError> objection(const FileRecord& record);
    /// The same as a finished sentence.
    [[nodiscard]] static std::optional<Text> refusal(const FileRecord& record);
};

}  // namespace KestrelCore
