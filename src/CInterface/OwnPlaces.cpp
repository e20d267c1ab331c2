#include "CInterface/History.hpp"
#include "CInterface/Plan.hpp"

#include "KestrelCore/Base/Path.hpp"
#include "KestrelCore/Base/PlatformError.hpp"

#include <algorithm>
#include <exception>
#include <filesystem>
#include <string>
#include <system_error>
#include <unordered_set>

using namespace KestrelCore;

namespace KestrelC {

namespace {

/// A database with what lies beside it, also beside the file that a link in its place leads to.
void protectDatabase(std::vector<ProtectedPlace>& places, const std::string& path, const Text& reason) {
    std::error_code error;
    const std::string resolved = std::filesystem::weakly_canonical(path, error).string();
    for (const std::string& named : {path, error ? path : resolved}) {
        for (const char* ending : {"", "-wal", "-shm", "-lock", "-journal", "-receipts"})
            places.push_back({named + ending, reason});
    }
}

void takeOut(SnapshotHistory& history, const std::vector<Text>& gone) {
    std::unordered_set<Text> roots;
    for (const Generation& generation : history.generations()) {
        const Text& root = generation.scope.root.path();
        if (generation.source.name || !roots.insert(root).second) continue;
        std::vector<Text> covered;
        for (const Text& path : gone) {
            if (path == root || Path::isBeneath(path, root)) covered.push_back(path);
        }
        if (covered.empty()) continue;
        // By bytes: an item whose path is equal in other code points is another one, which is still there.
        const auto records = history.open(generation.number).records(covered);
        std::vector<Text> known;
        for (std::size_t i = 0; i < covered.size(); ++i) {
            if (records[i] && records[i]->path().view() == covered[i].view()) known.push_back(covered[i]);
        }
        if (!known.empty() && !history.removing(generation.number, known))
            throw Failure{KESTREL_STALE_ITEM, "Another scan was saved meanwhile; it may still show what is gone."};
    }
}

}  // namespace

std::vector<ProtectedPlace> ownPlaces(const kestrel_history* history) {
    std::vector<ProtectedPlace> places;
    try {
        const std::string folder = dataFolder().string();
        const Text reason = "Kestrel’s own snapshot database is there; “kestrel clear” empties it.";
        protectDatabase(places, folder + "/history.sqlite", reason);
        protectDatabase(places, folder + "/snapshots.sqlite", reason);
        places.push_back({folder + "/receipts", reason});
    } catch (const PlatformError&) {
        // A folder whose name is no text is never made.
    }
    if (history != nullptr)
        protectDatabase(places, history->file.string(), "The history of the scans is there, which is still needed.");
    return places;
}

Text takenOut(SnapshotHistory& history, const std::vector<Text>& gone) {
    try {
        takeOut(history, Path::uppermost(gone));
        return {};
    } catch (const std::exception& error) {
        return "The saved scan still shows what is gone: " + std::string{error.what()};
    }
}

}  // namespace KestrelC
