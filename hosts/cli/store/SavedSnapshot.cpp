#include "store/SavedSnapshot.hpp"

#include "store/StorePath.hpp"
#include "terminal/Interruption.hpp"

#include "KestrelCore/JSON/CodingErrors.hpp"
#include "KestrelCore/Model/KestrelError.hpp"
#include "KestrelCore/Storage/SQLiteSnapshotStore.hpp"

#include <fmt/chrono.h>
#include <fmt/format.h>

#include <array>
#include <cmath>
#include <ctime>
#include <filesystem>
#include <optional>
#include <stdexcept>
#include <system_error>

// The store as commands see it. Whoever wants to read a scan gets it or a finished sentence; whoever saves one is told
// why that failed, and goes on, since the result was shown already. A stored snapshot is data from outside: it may come
// from another version or have been tampered with, so what contradicts itself is refused before anyone adds its sizes.

using namespace KestrelCore;

namespace KestrelCLI {

ScanSnapshot loadSavedSnapshot(const Session& session) {
    const std::string path = storePath(session);
    // Opening a store makes the file, or a database of an empty one: whoever only asks leaves things as they are.
    if (!isStoreThere(path)) {
        throw std::runtime_error{"There is no saved scan yet: kestrel scan makes one."};
    }
    std::optional<ScanSnapshot> snapshot;
    try {
        snapshot = SQLiteSnapshotStore{URL::fromPath(path)}.loadLatest();
    } catch (const DecodingError& error) {
        throw std::runtime_error{fmt::format("The saved scan in {} can't be used: {}", path, error.what())};
    } catch (const KestrelError& error) {
        throw std::runtime_error{fmt::format("The store {} can't be read: {}", path, error.what())};
    }
    Interruption::check();
    if (!snapshot) throw std::runtime_error{"There is no saved scan yet: kestrel scan makes one."};
    if (!snapshot->isConsistent()) {
        throw std::runtime_error{fmt::format(
            "The saved scan in {} contradicts itself (a path occurs twice, or a size is impossible): scan again.",
            path)};
    }
    return *snapshot;
}

FileRecord recordNamed(const ScanSnapshot& snapshot, const std::string& name) {
    const Text path = Path::standardized(URL::fromPath(name).path());
    // By its text first: what was scanned may be gone by now, or be a link, and is in the snapshot all the same.
    if (const auto record = snapshot.record(path)) return *record;
    std::error_code error;
    const std::filesystem::path real = std::filesystem::canonical(name, error);
    // Then as the system sees it: a link on the way, or "..", may lead to what the scan knows under its real path.
    if (!error) {
        if (const auto record = snapshot.record(Text{real.native()})) return *record;
    }
    const Text root = snapshot.scope().root.path();
    if (path == root || Path::isBeneath(path, root)) {
        throw std::runtime_error{fmt::format("{} is not in the saved scan.", path.view())};
    }
    throw std::runtime_error{fmt::format("{} lies outside the saved scan, which is of {}.", path.view(), root.view())};
}

void writeAge(const Session& session, const ScanSnapshot& snapshot) {
    if (session.options.json) return;
    const Date completed = snapshot.completedAt();
    session.out << session.painted(Style::quiet, fmt::format("{}, scanned {} ({})",
                                                             session.shown(snapshot.scope().root.path().view()),
                                                             age(completed, Date::now()), localTime(completed)))
                << "\n\n";
}

std::optional<EarlierScan> earlierScan(const Session& session, const URL& root) {
    try {
        const std::string path = storePath(session);
        if (!isStoreThere(path)) return std::nullopt;
        const auto snapshot = SQLiteSnapshotStore{URL::fromPath(path)}.loadLatest();
        // Only a scan of the same folder can be compared; and one that contradicts itself has no total to speak of.
        if (!snapshot || snapshot->scope().root.path() != root.path() || !snapshot->isConsistent()) return std::nullopt;
        return EarlierScan{.totalBytes = snapshot->totalAllocatedBytes(), .completedAt = snapshot->completedAt()};
    } catch (const std::exception&) {
        return std::nullopt;  // whoever saves over it hears what is wrong with the store
    }
}

bool save(const Session& session, const ScanSnapshot& snapshot) {
    const std::string path = storePath(session);
    try {
        SQLiteSnapshotStore{URL::fromPath(path)}.replace(snapshot);
        return true;
    } catch (const std::exception& error) {
        // The scan itself is worth its exit code; that it is not kept makes the command fail at the end.
        session.say(whyNotSaved(path, error.what()));
        return false;
    }
}

std::string whyNotSaved(const std::string& path, std::string_view reason) {
    std::string sentence = fmt::format("The scan could not be saved in {}: {}", path, reason);
    // SQLite's own text for a value that is too long says nothing to somebody who only scanned a folder.
    if (reason == "string or blob too big") {
        sentence += ". A snapshot spells the whole path of every item, and may have 1,000,000,000 bytes; this one has "
                    "too many items, or they lie too deep. Scan the folders below one by one.";
    }
    return sentence;
}

std::string change(const Session& session, std::int64_t totalBytes, const EarlierScan& earlier, Date now) {
    const std::string when = age(earlier.completedAt, now);
    // A stored total may be anything, so the difference may not fit.
    std::int64_t difference = 0;
    if (__builtin_sub_overflow(totalBytes, earlier.totalBytes, &difference) || difference == INT64_MIN) return "";
    // In words: a sign in front of a size is easily missed.
    if (difference == 0) return "as much as " + when;
    return fmt::format("{} {} than {}", session.size(difference < 0 ? -difference : difference),
                       difference < 0 ? "less" : "more", when);
}

}  // namespace KestrelCLI
