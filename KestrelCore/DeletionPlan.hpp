#pragma once

#include "KestrelCore/Base/Text.hpp"
#include "KestrelCore/Export.hpp"
#include "KestrelCore/Model/FileRecord.hpp"

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

    /// Why the safety policy would refuse the item now, as a finished sentence; empty when it would not. Removing asks
    /// again.
    [[nodiscard]] static std::optional<Text> refusal(const FileRecord& record);
};

}  // namespace KestrelCore
