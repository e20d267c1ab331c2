#pragma once

#include "terminal/browse/PictureItem.hpp"

#include "KestrelCore/Base/Text.hpp"
#include "KestrelCore/Model/FileRecord.hpp"
#include "KestrelCore/Snapshot/FolderListing.hpp"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace KestrelCLI {

/// What sizes the page shows.
enum class SizeKind : std::uint8_t {
    disk,     ///< what items take on the disk
    apparent  ///< how long contents are
};

/// One line of a folder on the page.
struct BrowseItem {
    KestrelCore::FolderEntry entry;
    std::optional<std::int64_t> change{};  ///< bytes on disk since the scan before; absent where that is not known

    [[nodiscard]] const KestrelCore::FileRecord& record() const { return entry.record; }
    [[nodiscard]] std::int64_t bytes(SizeKind kind) const {
        if (kind == SizeKind::disk) return record().displayBytes();
        if (record().isContainer()) return entry.below.apparentBytes;
        return record().isHardLinkDuplicate() ? 0 : record().logicalBytes();
    }
};

/// A folder as the page shows it. Made on another thread and never changed afterwards.
struct BrowseFolder {
    KestrelCore::Text path;
    KestrelCore::FolderSums below{};
    std::int64_t displayBytes = 0;         ///< on disk, the folder itself included
    bool isComplete = true;                ///< false while a scan that runs may still find more
    bool hasParent = false;                ///< the scan knows what lies above
    bool knowsChanges = false;             ///< there is a scan before to compare with
    std::optional<std::int64_t> change{};  ///< of the whole folder
    std::int64_t goneItems = 0;            ///< of the folder itself, that the scan before had
    std::int64_t goneBytes = 0;
    std::vector<BrowseItem> items;  ///< largest on the disk first, equal ones by the bytes of their names
    std::string failure;            ///< a sentence, where the folder could not be read; else empty
};

/// The natural order of the names of one reading of a folder: of many names it takes a while to find, and a folder is
/// shown before.
struct BrowseNameOrder {
    std::shared_ptr<const BrowseFolder> folder;
    std::vector<std::uint32_t> ranks;  ///< item → its place
};

/// What the picture of a folder shows: its items by their indexes, the largest with what is in them.
struct BrowsePicture {
    std::shared_ptr<const BrowseFolder> folder;
    /// The largest items; where there are more, one more item at the end stands for all of these.
    std::vector<PictureItem> items;
};

/// What was found below a folder, as a flat list.
struct BrowseFound {
    std::uint64_t number = 0;  ///< of the question
    KestrelCore::Text folder;
    std::vector<KestrelCore::FileRecord> records;
    std::int64_t matches = 0;                    ///< also beyond the records
    std::optional<std::int64_t> matchedBytes{};  ///< what all of these take
    std::vector<std::string> hints;              ///< sentences about what was typed
    std::string failure;                         ///< a sentence; else empty
};

}  // namespace KestrelCLI
