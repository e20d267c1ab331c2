#include "store/DeletionSnapshot.hpp"

#include "store/StorePath.hpp"

#include "KestrelCore/Base/Path.hpp"
#include "KestrelCore/Storage/SQLiteSnapshotStore.hpp"

#include <fmt/format.h>
#include <unordered_set>

// When this is called the items are gone already: the saved snapshot can only follow. So nothing here makes a command
// fail or undoes anything; where the snapshot can't be brought up to date, the user is told that it still shows what is
// gone.

namespace KestrelCLI {

namespace {

using KestrelCore::ScanSnapshot;
using KestrelCore::SQLiteSnapshotStore;
using KestrelCore::Text;
using KestrelCore::URL;

/// Without one that contradicts itself, which is told.
std::optional<ScanSnapshot> reliable(const Session& session, std::optional<ScanSnapshot> snapshot) {
    if (snapshot && !snapshot->isConsistent()) {
        session.say("The saved snapshot contradicts itself and is left out. Scan again.");
        return std::nullopt;
    }
    return snapshot;
}

/// Without items that lie below others: a folder takes its content along, and no size is subtracted twice.
std::unordered_set<Text> uppermost(const std::vector<Text>& paths) {
    const std::unordered_set<Text> all{paths.begin(), paths.end()};
    std::unordered_set<Text> result;
    for (const Text& path : all) {
        bool isBelowAnother = false;
        for (Text above = KestrelCore::Path::deletingLastComponent(path); above.byteCount() > 1 && !isBelowAnother;
             above = KestrelCore::Path::deletingLastComponent(above))
            isBelowAnother = all.contains(above);
        if (!isBelowAnother) result.insert(path);
    }
    return result;
}

}  // namespace

// A store that can't be used is no reason to refuse a deletion: sizes then come from a look at the disk.
std::optional<ScanSnapshot> savedSnapshot(const Session& session) {
    const std::string path = storePath(session);
    if (!isStoreThere(path)) return std::nullopt;
    try {
        SQLiteSnapshotStore store{URL::fromPath(path)};
        return reliable(session, store.loadLatest());
    } catch (const std::exception& error) {
        session.say(fmt::format("The saved snapshot is left out: {}", error.what()));
        return std::nullopt;
    }
}

void saveWithout(const Session& session, const std::vector<Text>& paths) {
    const std::string path = storePath(session);
    if (paths.empty() || !isStoreThere(path)) return;
    try {
        SQLiteSnapshotStore store{URL::fromPath(path)};
        const auto snapshot = store.loadLatest();
        if (!snapshot || !snapshot->isConsistent()) return;
        // By bytes: a canonically equal path is another item, which is still there.
        std::unordered_set<Text> known;
        for (const Text& removed : uppermost(paths)) {
            const auto record = snapshot->record(removed);
            if (record && record->path().view() == removed.view()) known.insert(removed);
        }
        // A scan that was saved meanwhile is the newer one, and stays.
        if (!known.empty() && !store.replaceStored(snapshot->id(), snapshot->removing(known)))
            session.say("The saved snapshot was replaced or cleared meanwhile; a new one may still show what is gone.");
    } catch (const std::exception& error) {
        session.say(fmt::format("The saved snapshot still shows what is gone: {}", error.what()));
    }
}

}  // namespace KestrelCLI
