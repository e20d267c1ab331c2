#include "store/RestoredRecords.hpp"

#include "store/Places.hpp"

#include "KestrelCore/Base/Path.hpp"
#include "KestrelCore/Platform/FileManager.hpp"
#include "KestrelCore/Snapshot/ScanSnapshot.hpp"
#include "KestrelCore/Storage/SnapshotHistory.hpp"

#include <fmt/format.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <string>
#include <unordered_set>
#include <utility>

using namespace KestrelCore;

namespace KestrelCLI {

namespace {

/// Whether the disk has the record's item at its place.
bool isOnDisk(const FileRecord& record) {
    struct stat status {};
    const std::string path = record.path().string();
    if (::lstat(path.c_str(), &status) != 0) return false;
    return record.identity() == FileIdentity{static_cast<std::uint64_t>(status.st_dev), status.st_ino};
}

/// The uppermost of the items at and beneath `paths` that the generation has and the disk has not.
std::vector<Text> missingOnDisk(const GenerationReader& reader, const std::vector<Text>& paths) {
    std::vector<Text> missing;
    std::vector<Text> folders;
    for (const auto& record : reader.records(paths)) {
        if (!record) continue;
        if (!isOnDisk(*record)) {
            missing.push_back(record->path());
        } else if (record->kind() == FileKind::directory || record->kind() == FileKind::package) {
            folders.push_back(record->path());
        }
    }
    if (folders.empty()) return missing;
    const ScanSnapshot snapshot = reader.load();
    while (!folders.empty()) {
        const Text folder = std::move(folders.back());
        folders.pop_back();
        for (const FileRecord& child : snapshot.children(folder)) {
            if (!isOnDisk(child)) {
                missing.push_back(child.path());
            } else if (child.kind() == FileKind::directory || child.kind() == FileKind::package) {
                folders.push_back(child.path());
            }
        }
    }
    return missing;
}

/// How many items the scan does not show that is asked from now on.
struct Unshown {
    std::size_t without = 0;  ///< it was made without them
    std::size_t renamed = 0;  ///< it knows them under another name, if at all
};

/// Takes them back in the newest scan of each root.
Unshown takeBack(SnapshotHistory& history, const std::vector<RestoredItem>& items) {
    std::unordered_set<Text> seen;
    std::unordered_set<Text> answered;  // by a newer scan, which is the one that is asked
    Unshown unshown;
    for (const Generation& generation : scansOfThisDisk(history)) {
        if (!seen.insert(generation.scope.root.path()).second) continue;
        std::vector<Text> covered;
        for (const RestoredItem& item : items) {
            if (covers(generation, item.path)) covered.push_back(item.path);
        }
        if (covered.empty()) continue;
        std::int64_t number = generation.number;
        if (const auto back = history.restoring(number, covered)) {
            number = back->number;
            const std::vector<Text> missing = missingOnDisk(history.open(number), covered);
            if (!missing.empty()) {
                if (const auto left = history.removing(number, missing)) number = left->number;
            }
        }
        const auto records = history.open(number).records(covered);
        for (std::size_t i = 0; i < covered.size(); ++i) {
            if (!answered.insert(covered[i]).second || records[i]) continue;
            const auto item = std::ranges::find(items, covered[i], &RestoredItem::path);
            // What a scan before had not seen either is no news.
            if (!item->trashedAt) {
                ++unshown.renamed;
            } else if (item->trashedAt->secondsSinceReferenceDate < generation.completedAt.secondsSinceReferenceDate) {
                ++unshown.without;
            }
        }
    }
    return unshown;
}

}  // namespace

void showRestored(const Session& session, const std::vector<RestoredItem>& items, const Remark& remark) {
    if (items.empty()) return;
    try {
        if (const auto store = namedStorePath(session)) {
            if (isStoreThere(*store)) remark("The saved snapshot shows what came back after the next scan.");
            return;
        }
        const auto [without, renamed] = takeBack(*openHistory(session, remark), items);
        const auto itemsAre = [](std::size_t count) {
            return count == 1 ? std::string{"1 item is"} : fmt::format("{} items are", count);
        };
        const auto them = [](std::size_t count) { return count == 1 ? "it" : "them"; };
        if (without > 0) {
            remark(fmt::format("{} not in the saved scan, which was made without {}; scan again to see {}.",
                               itemsAre(without), them(without), them(without)));
        }
        // A scan takes back only what it was made with, and where that was.
        if (renamed > 0) {
            remark(fmt::format("{} not in the saved scan under {} new name; scan again to see {}.", itemsAre(renamed),
                               renamed == 1 ? "its" : "their", them(renamed)));
        }
    } catch (const std::exception& error) {
        remark(fmt::format("The saved scan does not show what came back: {}", error.what()));
    }
}

}  // namespace KestrelCLI
