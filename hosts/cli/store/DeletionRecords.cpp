#include "store/DeletionRecords.hpp"

#include "store/Places.hpp"

#include "KestrelCore/Base/Path.hpp"
#include "KestrelCore/Base/URL.hpp"
#include "KestrelCore/Storage/SQLiteSnapshotStore.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <iterator>
#include <map>
#include <unordered_set>
#include <utility>

using namespace KestrelCore;

namespace KestrelCLI {

namespace {

/// The paths of each scan: the newest that covers them.
std::map<std::int64_t, std::vector<Text>> byGeneration(const SnapshotHistory& history, const std::vector<Text>& paths) {
    std::map<std::int64_t, std::vector<Text>> result;
    const std::vector<Generation> generations = scansOfThisDisk(history);
    for (const Text& path : paths) {
        const auto found =
            std::ranges::find_if(generations, [&](const Generation& each) { return covers(each, path); });
        if (found != generations.end()) result[found->number].push_back(path);
    }
    return result;
}

/// The paths of each scan that is the newest of its root: all that show an item are to be without it.
std::map<std::int64_t, std::vector<Text>> byRoot(const SnapshotHistory& history, const std::vector<Text>& paths) {
    std::map<std::int64_t, std::vector<Text>> result;
    std::unordered_set<Text> roots;
    for (const Generation& generation : scansOfThisDisk(history)) {
        if (!roots.insert(generation.scope.root.path()).second) continue;
        for (const Text& path : paths) {
            if (covers(generation, path)) result[generation.number].push_back(path);
        }
    }
    return result;
}

}  // namespace

DeletionRecords::DeletionRecords(const Session& session, const std::vector<Text>& paths)
    : DeletionRecords{session, paths, [&session](std::string_view sentence) { session.say(sentence); }} {}

DeletionRecords::DeletionRecords(const Session& session, const std::vector<Text>& paths, Remark remark)
    : remark_{std::move(remark)}, store_{namedStorePath(session)} {
    try {
        store_ ? lookUpInStore(paths) : lookUpInHistory(session, paths);
    } catch (const std::exception& error) {
        remark_(fmt::format("The saved scans are left out: {}", error.what()));
    }
}

void DeletionRecords::lookUpInHistory(const Session& session, const std::vector<Text>& paths) {
    history_ = openHistory(session, remark_);
    for (const auto& [number, covered] : byGeneration(*history_, paths)) {
        const GenerationReader generation = history_->open(number);
        if (const auto sentence = incompleteRemark(generation.generation())) remark_(*sentence);
        for (const auto& record : generation.records(covered)) {
            if (record) records_.emplace(record->path().string(), *record);
        }
        for (const Text& path : covered) lookedUpIn_[number].insert(path.string());
    }
}

void DeletionRecords::lookUpInStore(const std::vector<Text>& paths) {
    if (!isStoreThere(*store_)) return;
    const auto snapshot = SQLiteSnapshotStore{URL::fromPath(*store_)}.loadLatest();
    if (!snapshot) return;
    if (!snapshot->isConsistent()) {
        remark_("The saved snapshot contradicts itself and is left out. Scan again.");
        return;
    }
    for (const Text& path : paths) {
        if (const auto record = snapshot->record(path)) records_.emplace(record->path().string(), *record);
    }
}

std::optional<FileRecord> DeletionRecords::record(const Text& path) const {
    const auto found = records_.find(path.string());
    return found == records_.end() ? std::nullopt : std::optional{found->second};
}

void DeletionRecords::takeOut(const std::vector<Text>& gone) const {
    if (gone.empty()) return;
    try {
        store_ ? takeOutOfStore(gone) : takeOutOfHistory(gone);
    } catch (const std::exception& error) {
        remark_(fmt::format("The saved scan still shows what is gone: {}", error.what()));
    }
}

void DeletionRecords::takeOutOfHistory(const std::vector<Text>& gone) const {
    if (history_ == nullptr) return;  // it was said why
    // By bytes, as below. Looked for anew: a scan that was saved meanwhile is the one that is asked from now on.
    for (const auto& [number, covered] : byRoot(*history_, Path::uppermost(gone))) {
        const auto asked = lookedUpIn_.find(number);
        const bool isLookedUp = asked != lookedUpIn_.end() && std::ranges::all_of(covered, [&](const Text& path) {
                                    return asked->second.contains(path.string());
                                });
        std::vector<Text> known;
        if (isLookedUp) {
            std::ranges::copy_if(covered, std::back_inserter(known),
                                 [&](const Text& path) { return record(path).has_value(); });
        } else {
            const auto records = history_->open(number).records(covered);
            for (std::size_t i = 0; i < covered.size(); ++i) {
                if (records[i] && records[i]->path().view() == covered[i].view()) known.push_back(covered[i]);
            }
        }
        if (!known.empty() && !history_->removing(number, known))
            remark_("Another scan was saved meanwhile; it may still show what is gone.");
    }
}

void DeletionRecords::takeOutOfStore(const std::vector<Text>& gone) const {
    if (!isStoreThere(*store_)) return;
    SQLiteSnapshotStore store{URL::fromPath(*store_)};
    const auto snapshot = store.loadLatest();
    if (!snapshot || !snapshot->isConsistent()) return;
    // By bytes: a canonically equal path is another item, which is still there.
    std::unordered_set<Text> known;
    for (const Text& removed : Path::uppermost(gone)) {
        const auto record = snapshot->record(removed);
        if (record && record->path().view() == removed.view()) known.insert(removed);
    }
    // A scan that was saved meanwhile is the newer one, and stays.
    if (!known.empty() && !store.replaceStored(snapshot->id(), snapshot->removing(known)))
        remark_("The saved snapshot was replaced or cleared meanwhile; a new one may still show what is gone.");
}

}  // namespace KestrelCLI
