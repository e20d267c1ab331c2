#include "store/SavedScan.hpp"

#include "output/Times.hpp"
#include "output/WordWrap.hpp"
#include "store/HistoryAccess.hpp"
#include "store/MissingScan.hpp"
#include "store/Places.hpp"
#include "store/ScanLikeness.hpp"
#include "terminal/Interruption.hpp"

#include "KestrelCore/Base/Date.hpp"
#include "KestrelCore/Base/Path.hpp"
#include "KestrelCore/Base/URL.hpp"
#include "KestrelCore/JSON/CodingErrors.hpp"
#include "KestrelCore/Model/KestrelError.hpp"
#include "KestrelCore/Storage/SQLiteSnapshotStore.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <stdexcept>
#include <system_error>

// Whoever wants to read a scan gets it or a finished sentence. A snapshot database is data from outside: it may come
// from another version or have been tampered with, so what contradicts itself is refused before anyone adds its sizes.
// The history is this user's alone, and damage to it shows in its sums.

using namespace KestrelCore;

namespace KestrelCLI {

namespace {

/// That there is nothing, of a history that may have imported ones.
std::runtime_error nothingToAnswerFrom(const Session& session, const SnapshotHistory& history) {
    const std::vector<Generation> all = history.generations();
    if (all.empty()) return std::runtime_error{noScanYet(session)};
    return std::runtime_error{fmt::format("There is no scan of this disk yet: kestrel scan makes one. --at {} answers "
                                          "from the newest imported one.",
                                          all.front().number)};
}

/// The scan in a snapshot database.
ScanSnapshot loaded(const Session& session, const std::string& path) {
    // Opening a store makes the file, or a database of an empty one: whoever only asks leaves things as they are.
    if (!isStoreThere(path)) throw std::runtime_error{noScanYet(session)};
    std::optional<ScanSnapshot> snapshot;
    try {
        snapshot = SQLiteSnapshotStore{URL::fromPath(path)}.loadLatest();
    } catch (const DecodingError& error) {
        throw std::runtime_error{fmt::format("The saved scan in {} can't be used: {}", path, error.what())};
    } catch (const KestrelError& error) {
        throw std::runtime_error{fmt::format("The store {} can't be read: {}", path, error.what())};
    }
    Interruption::check();
    if (!snapshot) throw std::runtime_error{noScanYet(session)};
    if (!snapshot->isConsistent()) {
        throw std::runtime_error{fmt::format(
            "The saved scan in {} contradicts itself (a path occurs twice, or a size is impossible): scan again.",
            path)};
    }
    return *snapshot;
}

/// The database that --store names; empty where the history is to be asked.
std::optional<std::string> database(const Session& session) {
    auto path = namedStorePath(session);
    if (path && session.options.at)
        throw UsageError{"--at chooses among the scans of the history; the database that --store names has one only."};
    return path;
}

NamedRecord findIn(const Session& session, const std::string& path, const std::string& name) {
    SavedScan scan{loaded(session, path)};
    const std::vector<Text> paths = meanings(name);
    for (const Text& each : paths) {
        if (auto record = scan.record(each)) return {.scan = std::move(scan), .record = std::move(*record)};
    }
    if (covers(scan.summary(), paths.front()))
        throw PathError{fmt::format("{} is not in the saved scan.", paths.front().view()), paths.front().string()};
    throw PathError{fmt::format("{} lies outside the saved scan, which is of {}.", paths.front().view(),
                                scan.summary().scope.root.path().view()),
                    paths.front().string()};
}

}  // namespace

std::vector<Text> meanings(const std::string& name) {
    std::error_code error;
    // Against a folder that is gone nothing means anything.
    if (!name.starts_with('/') && std::filesystem::current_path(error).empty())
        throw PathError{fmt::format("{}: The current folder no longer exists.", name), name};
    std::vector<Text> paths{Path::standardized(URL::fromPath(name).path())};
    const std::filesystem::path real = std::filesystem::canonical(name, error);
    if (!error && Text{real.native()} != paths.front()) paths.emplace_back(real.native());
    return paths;
}

SavedScan::SavedScan(ScanSnapshot snapshot) : summary_{summaryOf(snapshot)}, snapshot_{std::move(snapshot)} {}

SavedScan SavedScan::newest(const Session& session) {
    if (const auto path = database(session)) return SavedScan{loaded(session, *path)};
    const std::shared_ptr<const SnapshotHistory> history = openHistory(session);
    const std::vector<Generation> generations = scansToAnswerFrom(session, *history);
    if (generations.empty()) throw nothingToAnswerFrom(session, *history);
    const Generation& asked = chosenByOption(session, generations);
    warnOfIncomplete(session, asked, generations);
    return SavedScan{history->open(asked.number)};
}

SavedScan SavedScan::newestOf(const Session& session, const Text& path) {
    if (session.options.at || session.options.store) return newest(session);
    const std::shared_ptr<const SnapshotHistory> history = openHistory(session);
    const std::vector<Generation> generations = scansOfThisDisk(*history);
    if (generations.empty()) throw nothingToAnswerFrom(session, *history);
    const auto covering = std::ranges::find_if(generations, [&](const Generation& each) { return covers(each, path); });
    const Generation& asked = covering != generations.end() ? *covering : generations.front();
    warnOfIncomplete(session, asked, generations);
    return SavedScan{history->open(asked.number)};
}

ScanSnapshot SavedScan::snapshot() const {
    if (snapshot_) return *snapshot_;
    ScanSnapshot snapshot = generation_->load();
    Interruption::check();
    return snapshot;
}

std::optional<SearchAnswer> SavedScan::search(const SearchQuery& query, std::int64_t limit,
                                              const SearchSettings& settings) const {
    return snapshot_ ? snapshot_->search(query, limit, settings) : generation_->search(query, limit, settings);
}

std::optional<FileRecord> SavedScan::record(const Text& path) const {
    return snapshot_ ? snapshot_->record(path) : generation_->record(path);
}

std::vector<FileRecord> SavedScan::children(const Text& folder) const {
    return snapshot_ ? snapshot_->children(folder) : generation_->children(folder);
}

std::optional<FolderListing> SavedScan::listing(const Text& folder) const {
    return snapshot_ ? snapshot_->listing(folder) : generation_->listing(folder);
}

std::optional<Summary> SavedScan::summarize(const Text& folder, SummaryGrouping grouping,
                                            const SummarySettings& settings) const {
    return snapshot_ ? Summary::of(*snapshot_, folder, grouping, settings)
                     : generation_->summary(folder, grouping, settings);
}

std::optional<Suggestions> SavedScan::suggestions(const ReclaimCatalogue& catalogue,
                                                  const SuggestionSettings& settings) const {
    if (generation_) return Suggestions::of(*generation_, catalogue, settings);
    throw KestrelError::unavailable("What can go is told of scans in the history only.");
}

std::optional<ExportResult> SavedScan::exportFolder(const Text& folder, const ByteSink& sink,
                                                    const ExportOptions& options) const {
    return snapshot_ ? KestrelCore::exportFolder(*snapshot_, folder, sink, options)
                     : KestrelCore::exportFolder(*generation_, folder, sink, options);
}

NamedRecord NamedRecord::find(const Session& session, const std::string& name) {
    if (const auto path = database(session)) return findIn(session, *path, name);
    const std::shared_ptr<const SnapshotHistory> history = openHistory(session);
    const std::vector<Generation> generations = scansToAnswerFrom(session, *history);
    if (generations.empty()) throw nothingToAnswerFrom(session, *history);
    const std::vector<Text> paths = meanings(name);
    std::optional<Generation> asked;
    for (const Text& path : paths) {
        std::vector<Generation> covering;
        std::ranges::copy_if(generations, std::back_inserter(covering),
                             [&](const Generation& each) { return covers(each, path); });
        if (covering.empty()) continue;
        asked = chosenByOption(session, covering);
        SavedScan scan{history->open(asked->number)};
        if (auto record = scan.record(path)) {
            warnOfIncomplete(session, *asked, generations);
            return {.scan = std::move(scan), .record = std::move(*record)};
        }
    }
    if (asked) warnOfIncomplete(session, *asked, generations);
    const std::string_view path = paths.front().view();
    if (!asked) {
        const std::vector<Generation> all = history->generations();
        const auto import = std::ranges::find_if(
            all, [&](const Generation& each) { return isImported(each) && covers(each, paths.front()); });
        throw PathError{noScanOf(path) + (import == all.end() || session.options.at
                                              ? ""
                                              : fmt::format(" --at {} answers from an imported one.", import->number)),
                        std::string{path}};
    }
    throw PathError{notInScan(*asked, paths.front()), std::string{path}};
}

NamedRecord NamedRecord::folder(const Session& session, const std::vector<std::string>& names) {
    const auto top = [&]() -> NamedRecord {
        SavedScan scan = SavedScan::newest(session);
        const Text root = scan.summary().scope.root.path();
        auto record = scan.record(root);
        if (!record) throw std::runtime_error{fmt::format("The saved scan of {} has nothing in it.", root.view())};
        return {.scan = std::move(scan), .record = std::move(*record)};
    };
    NamedRecord named = names.empty() ? top() : find(session, names.front());
    // A package is a container too, and can be looked into.
    if (!named.record.isContainer()) {
        throw PathError{fmt::format("{} is not a folder.", named.record.path().view()), named.record.path().string()};
    }
    return named;
}

void writeAge(const Session& session, const Generation& scan) {
    if (session.options.json) return;
    const std::string root = isImported(scan) ? session.shown(scan.scope.root.path().view())
                                              : session.shownPath(scan.scope.root.path().view());
    const std::string import = session.shown(importRemark(scan));
    std::string text =
        fmt::format("{}, scanned {} ({}){}{}", root, age(scan.completedAt, Date::now()), localTime(scan.completedAt),
                    scan.isComplete ? "" : ", incomplete", import.empty() ? "" : ", " + import);
    if (scan.origin == GenerationOrigin::removal) {
        text += ", without what was removed or went to the Trash since";
        // So its figures are smaller than what the disk shows.
        if (!session.home.empty() && covers(scan, Text{session.home})) text += " (the Trash itself is as it was then)";
    }
    if (!scan.leftOut.empty()) text += ", without " + leftOutInWords(session, scan.leftOut);
    session.out << session.painted(Style::quiet,
                                   session.columns() > 0 ? wrappedWords(text, session.columns(), 0) : text)
                << "\n\n";
}

Generation summaryOf(const ScanSnapshot& snapshot) {
    return {.snapshot = snapshot.id(),
            .scope = snapshot.scope(),
            .startedAt = snapshot.startedAt(),
            .completedAt = snapshot.completedAt(),
            .records = static_cast<std::int64_t>(snapshot.records().size()),
            .issues = static_cast<std::int64_t>(snapshot.issues().size()),
            .totalAllocatedBytes = snapshot.totalAllocatedBytes()};
}

}  // namespace KestrelCLI
