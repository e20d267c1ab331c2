#include "KestrelCore/Storage/SnapshotHistory.hpp"

#include "KestrelCore/Base/Path.hpp"
#include "KestrelCore/Model/KestrelError.hpp"
#include "KestrelCore/Snapshot/ValueJSON.hpp"
#include "Platform/DatabaseFile.hpp"
#include "Snapshot/SnapshotAccess.hpp"
#include "Storage/History/GenerationDescription.hpp"
#include "Storage/History/GenerationGrowth.hpp"
#include "Storage/History/GenerationRemoval.hpp"
#include "Storage/History/GenerationWriting.hpp"
#include "Storage/History/HistoryDatabase.hpp"
#include "Storage/History/HistoryThinning.hpp"
#include "Storage/History/OpenGeneration.hpp"
#include "Storage/History/ProvenanceText.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <ranges>
#include <string>
#include <string_view>
#include <utility>

namespace KestrelCore {

namespace {

constexpr std::chrono::milliseconds patience{10'000};
/// Differences that follow a full generation, at most: opening one reads them all.
constexpr std::size_t mostDifferences = 30;

constexpr std::string_view fromElsewhere = "import ";

/// What generations are one series by: the path of their root, or, of what was taken over from elsewhere, a text that
/// no path is, so that it neither stands for a folder of this disk nor is the difference to a scan of one.
std::string seriesOf(const ScanSnapshot& snapshot, const GenerationProvenance& provenance) {
    const Text root = snapshot.scope().root.path();
    if (!provenance.source.name) return root.string();
    return fmt::format("{}{}\t{}", fromElsewhere, provenance.source.name->view(), root.view());
}

bool isFromElsewhere(const StoredGeneration& generation) { return generation.root.starts_with(fromElsewhere); }

/// The generation itself, or, of a removal, what that is a difference to: no other is the difference to a removal, so
/// that one may take the place of another, and none makes a chain longer.
const StoredGeneration* belowRemoval(const std::vector<StoredGeneration>& all, const StoredGeneration& generation) {
    return isRemoval(generation) ? find(all, generation.base) : &generation;
}

/// The generation that another of the same root is to be kept as the difference to; null for a full one.
const StoredGeneration* baseFor(const std::vector<StoredGeneration>& all, std::string_view root) {
    const auto newest = std::ranges::find(all.rbegin(), all.rend(), root, &StoredGeneration::root);
    if (newest == all.rend()) return nullptr;
    const StoredGeneration* const base = belowRemoval(all, *newest);
    std::size_t differences = 0;
    std::int64_t bytes = 0;
    const StoredGeneration* full = base;
    for (; full != nullptr && full->base != 0; full = find(all, full->base)) {
        ++differences;
        bytes += full->storedBytes;
    }
    // Differences that have grown to half of what they are differences to save nothing any more.
    if (full == nullptr || differences >= mostDifferences || bytes > full->storedBytes / 2) return nullptr;
    return base;
}

}  // namespace

class SnapshotHistory::Implementation {
public:
    explicit Implementation(const URL& url) : database_{url.path().string(), patience} {}

    [[nodiscard]] bool exists() const { return database_.exists(); }
    [[nodiscard]] HistoryDatabase::Reading reading() const { return HistoryDatabase::Reading{database_}; }
    HistoryDatabase& database() { return database_; }

    Generation add(const ScanSnapshot& snapshot, const GenerationProvenance& provenance) {
        HistoryDatabase::Writing writing{database_};
        const std::string root = seriesOf(snapshot, provenance);
        StoredGeneration stored{
            .number = writing.nextNumber(),
            .snapshot = snapshot.id(),
            .scope = encodedJSON(snapshot.scope()),
            .root = root,
            .startedAt = snapshot.startedAt().secondsSinceReferenceDate,
            .completedAt = snapshot.completedAt().secondsSinceReferenceDate,
            .records = static_cast<std::int64_t>(snapshot.records().size()),
            .issues = static_cast<std::int64_t>(snapshot.issues().size()),
            .totalBytes = snapshot.totalAllocatedBytes(),
            .isComplete = provenance.isComplete,
            .origin = static_cast<std::int64_t>(provenance.origin),
            .identifierSeed = {},
            .layout = {},
            .provenance = provenanceText(provenance),
        };
        {
            // While a reader stands, the log can't be emptied.
            const HistoryDatabase::Reading reading{database_};
            const auto all = reading.generations();
            write(snapshot, stored, openIfSound(reading, all, baseFor(all, root)), writing);
        }
        writing.add(stored);
        writing.commit(false);
        return described(stored);
    }

    std::optional<Generation> removing(std::int64_t number, const std::vector<Text>& paths) {
        if (!exists()) return std::nullopt;
        HistoryDatabase::Writing writing{database_};
        StoredGeneration stored;
        std::vector<StoredGeneration> all;
        {
            // While a reader stands, the log can't be emptied.
            const HistoryDatabase::Reading reading{database_};
            all = reading.generations();
            const StoredGeneration* before = find(all, number);
            if (before == nullptr || isFromElsewhere(*before) || !isNewestOfItsRoot(all, *before)) return std::nullopt;
            const StoredGeneration* base = belowRemoval(all, *before);
            if (base == nullptr) throwDamaged(number);
            stored = asRemoval(*before, base->number, writing.nextNumber());
            const OpenGeneration generation{reading, all, *before};
            if (!writeRemoval(generation, paths, stored, sinkOf(writing))) return std::nullopt;
        }
        writing.add(stored);
        all.push_back(stored);
        writing.commit(forgetRemoval(number, all, writing));
        return described(stored);
    }

    std::optional<Generation> restoring(std::int64_t number, const std::vector<Text>& paths) {
        if (!exists()) return std::nullopt;
        HistoryDatabase::Writing writing{database_};
        StoredGeneration stored;
        std::vector<StoredGeneration> all;
        bool isWholeAgain = false;
        {
            const HistoryDatabase::Reading reading{database_};
            all = reading.generations();
            const StoredGeneration* before = find(all, number);
            if (before == nullptr || !isRemoval(*before) || !isNewestOfItsRoot(all, *before)) return std::nullopt;
            const StoredGeneration* base = belowRemoval(all, *before);
            if (base == nullptr) throwDamaged(number);
            stored = asRemoval(*base, base->number, writing.nextNumber());
            const OpenGeneration generation{reading, all, *base};
            const OpenGeneration removal{reading, all, *before};
            const RemovalRest rest = writeRemovalWithout(generation, removal, paths, stored, sinkOf(writing));
            if (rest == RemovalRest::unchanged) return std::nullopt;
            isWholeAgain = rest == RemovalRest::nothing && !before->isPinned && isNewestOfItsRoot(all, *base, number);
            if (isWholeAgain) {
                writing.remove(stored.number);  // the columns that were just written
                stored = *base;
            }
        }
        if (!isWholeAgain) {
            writing.add(stored);
            all.push_back(stored);
        }
        writing.commit(forgetRemoval(number, all, writing));
        return described(stored);
    }

    void remove(const std::vector<std::int64_t>& numbers, bool all) {
        if (!exists()) return;
        HistoryDatabase::Writing writing{database_};
        std::vector<StoredGeneration> left = HistoryDatabase::Reading{database_}.generations();
        for (StoredGeneration& each : left) {
            if (each.isForgotten || (!all && std::ranges::find(numbers, each.number) == numbers.end())) continue;
            each.isForgotten = true;
            writing.setForgotten(each.number);
        }
        for (const std::int64_t number : unneeded(left)) writing.remove(number);
        writing.commit(true);
    }

private:
    /// `ignored` is a number that does not count.
    static bool isNewestOfItsRoot(const std::vector<StoredGeneration>& all, const StoredGeneration& generation,
                                  std::int64_t ignored = 0) {
        if (generation.isForgotten) return false;
        return std::ranges::none_of(all, [&](const StoredGeneration& each) {
            return each.number > generation.number && each.number != ignored && !each.isForgotten &&
                   each.root == generation.root;
        });
    }

    static ColumnSink sinkOf(HistoryDatabase::Writing& writing) {
        return [&writing](const ColumnKey& key, std::string&& packed) { writing.addColumn(key, packed); };
    }

    /// What a removal begins as that is made from `generation`.
    static StoredGeneration asRemoval(const StoredGeneration& generation, std::int64_t base, std::int64_t number) {
        StoredGeneration removal = generation;
        removal.number = number;
        removal.snapshot = UUID::random();
        removal.origin = static_cast<std::int64_t>(GenerationOrigin::removal);
        removal.base = base;
        removal.isPinned = false;
        removal.isForgotten = false;
        return removal;
    }

    /// A removal goes when another takes its place, unless it is pinned; whether it went.
    static bool forgetRemoval(std::int64_t number, std::vector<StoredGeneration>& all,
                              HistoryDatabase::Writing& writing) {
        StoredGeneration& removal = *std::ranges::find(all, number, &StoredGeneration::number);
        if (!isRemoval(removal) || removal.isPinned) return false;
        removal.isForgotten = true;
        writing.setForgotten(number);
        for (const std::int64_t each : unneeded(all)) writing.remove(each);
        return true;
    }

    /// A damaged generation is no base: then a full one is kept, which needs none.
    static std::optional<OpenGeneration> openIfSound(const HistoryDatabase::Reading& reading,
                                                     const std::vector<StoredGeneration>& all,
                                                     const StoredGeneration* generation) {
        if (generation == nullptr) return std::nullopt;
        try {
            return std::optional<OpenGeneration>{std::in_place, reading, all, *generation};
        } catch (const KestrelError&) {
            return std::nullopt;
        }
    }

    static void write(const ScanSnapshot& snapshot, StoredGeneration& stored, const std::optional<OpenGeneration>& base,
                      HistoryDatabase::Writing& writing) {
        const RecordStorage& storage = SnapshotAccess::storage(snapshot);
        const ColumnSink sink = [&](const ColumnKey& key, std::string&& packed) { writing.addColumn(key, packed); };
        HistoryAges ages{.countedFrom = HistoryAges::day(snapshot.completedAt())};
        if (base) ages.countedFrom = base->stored().agesCountedFrom;
        const SnapshotRows rows{storage, base ? base->context().dictionary : HistoryDictionary{}, ages};
        const bool isDifference = base && rows.identifiers() == IdentifierForm::inPlace;
        stored.layout = isDifference ? writeDifference(rows, base->rows(), stored.number, sink)
                                     : writeFull(rows, stored.number, sink);
        stored.base = isDifference ? base->stored().number : 0;
        stored.identifierSeed = storage.identifierSeed().value_or(UUID{});
        stored.agesCountedFrom = ages.countedFrom;
        HistoryDictionary added = rows.dictionary();
        if (isDifference) {
            const HistoryDictionary& known = base->context().dictionary;
            added.extensions.erase(added.extensions.begin(),
                                   added.extensions.begin() + static_cast<std::ptrdiff_t>(known.extensions.size()));
            added.devices.erase(added.devices.begin(),
                                added.devices.begin() + static_cast<std::ptrdiff_t>(known.devices.size()));
        }
        writeLists(added, snapshot.issues(), rows.isInScanOrder() ? std::vector<std::uint64_t>{} : rows.positions(),
                   stored.number, sink);
    }

    HistoryDatabase database_;
};

SnapshotHistory::SnapshotHistory(const URL& url) : implementation_{std::make_unique<Implementation>(url)} {}

SnapshotHistory::~SnapshotHistory() = default;

Generation SnapshotHistory::add(const ScanSnapshot& snapshot, GenerationOrigin origin, bool isComplete) {
    return implementation_->add(snapshot, {.origin = origin, .isComplete = isComplete});
}

Generation SnapshotHistory::add(const ScanSnapshot& snapshot, const GenerationProvenance& provenance) {
    return implementation_->add(snapshot, provenance);
}

std::optional<Generation> SnapshotHistory::removing(std::int64_t number, const std::vector<Text>& paths) {
    return implementation_->removing(number, paths);
}

std::optional<Generation> SnapshotHistory::restoring(std::int64_t number, const std::vector<Text>& paths) {
    return implementation_->restoring(number, paths);
}

std::vector<Generation> SnapshotHistory::generations(const std::optional<Text>& root) const {
    std::vector<Generation> result;
    if (!implementation_->exists()) return result;
    const auto all = implementation_->reading().generations();
    // Neighbours were mostly scanned alike: a scope is read from its text once for all of them.
    std::optional<ScanScope> scope;
    std::string_view textOfScope;
    for (const StoredGeneration& stored : std::ranges::reverse_view{all}) {
        if (stored.isForgotten || (root && Text{stored.root} != *root)) continue;
        if (!scope || stored.scope != textOfScope) {
            scope = scopeOf(stored);
            textOfScope = stored.scope;
        }
        result.push_back(described(stored, *scope));
    }
    return result;
}

std::optional<Generation> SnapshotHistory::newest(const Text& path) const {
    if (!implementation_->exists()) return std::nullopt;
    const auto all = implementation_->reading().generations();
    for (const StoredGeneration& stored : std::ranges::reverse_view{all}) {
        if (stored.isForgotten) continue;
        const Text root{stored.root};
        if (root == path || root == Text{"/"} || Path::isBeneath(path, root)) return described(stored);
    }
    return std::nullopt;
}

std::optional<Generation> SnapshotHistory::generation(std::int64_t number) const {
    if (!implementation_->exists()) return std::nullopt;
    const auto all = implementation_->reading().generations();
    const StoredGeneration* stored = find(all, number);
    return stored == nullptr || stored->isForgotten ? std::nullopt : std::optional{described(*stored)};
}

GenerationReader SnapshotHistory::open(std::int64_t number) const {
    if (!implementation_->exists()) throw noGeneration(number);
    return {implementation_->database(), number};
}

ScanSnapshot SnapshotHistory::load(std::int64_t number) const { return open(number).load(); }

std::vector<FileRecord> SnapshotHistory::children(std::int64_t number, const Text& path) const {
    return open(number).children(path);
}

std::optional<FileRecord> SnapshotHistory::record(std::int64_t number, const Text& path) const {
    return open(number).record(path);
}

std::optional<FolderTotals> SnapshotHistory::totals(std::int64_t number, const Text& path) const {
    return open(number).totals(path);
}

std::optional<Growth> SnapshotHistory::growth(std::int64_t since, std::int64_t until, const std::optional<Text>& path,
                                              const GrowthOptions& options) const {
    if (!implementation_->exists()) throw noGeneration(since);
    const HistoryDatabase::Reading reading = implementation_->reading();
    const auto all = reading.generations();
    Growth growth{
        .since = described(kept(all, since)), .until = described(kept(all, until)), .path = {}, .changes = {}};
    const auto isIn = [](const Text& item, const Text& folder) {
        return item == folder || folder == Text{"/"} || Path::isBeneath(item, folder);
    };
    // What both know is what lies in the deeper root.
    const Text rootBefore = growth.since.scope.root.path();
    const Text rootAfter = growth.until.scope.root.path();
    const Text& common = isIn(rootBefore, rootAfter) ? rootBefore : rootAfter;
    if (!isIn(common, rootBefore) || !isIn(common, rootAfter)) return std::nullopt;
    if (path && !isIn(*path, common) && !isIn(common, *path)) return std::nullopt;
    growth.path = path && isIn(*path, common) ? *path : common;
    const OpenGeneration before{reading, all, kept(all, since)};
    const OpenGeneration after{reading, all, kept(all, until)};
    if (!compareGenerations(before, after, options, growth)) return std::nullopt;
    return growth;
}

void SnapshotHistory::setPinned(std::int64_t number, bool isPinned) {
    if (!generation(number)) throw noGeneration(number);
    HistoryDatabase::Writing writing{implementation_->database()};
    writing.setPinned(number, isPinned);
    writing.commit(false);
}

void SnapshotHistory::forget(const std::vector<std::int64_t>& numbers) { implementation_->remove(numbers, false); }

std::vector<std::int64_t> SnapshotHistory::thin(const ThinningPolicy& policy, Date now) {
    if (!implementation_->exists()) return {};
    const std::vector<std::int64_t> numbers = thinned(implementation_->reading().generations(), policy, now);
    if (!numbers.empty()) implementation_->remove(numbers, false);
    return numbers;
}

std::int64_t SnapshotHistory::clear() {
    const std::string& path = implementation_->database().path();
    const auto size = [&] {
        const auto item = DatabaseFile::item(path);
        return item ? item->size : 0;
    };
    const std::int64_t before = size();
    implementation_->remove({}, true);
    return std::max<std::int64_t>(0, before - size());
}

std::vector<std::int64_t> SnapshotHistory::check() const {
    std::vector<std::int64_t> damaged;
    if (!implementation_->exists()) return damaged;
    const HistoryDatabase::Reading reading = implementation_->reading();
    const auto all = reading.generations();
    for (const StoredGeneration& stored : all) {
        if (stored.isForgotten) continue;
        try {
            (void)OpenGeneration{reading, all, stored}.snapshot();
        } catch (const KestrelError&) {
            damaged.push_back(stored.number);
        }
    }
    return damaged;
}

}  // namespace KestrelCore
