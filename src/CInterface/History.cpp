#include "CInterface/History.hpp"

#include "CInterface/Records.hpp"
#include "CInterface/Snapshots.hpp"

#include "KestrelCore/Base/Path.hpp"
#include "KestrelCore/Base/URL.hpp"
#include "KestrelCore/Platform/UserPlaces.hpp"

#include <optional>
#include <string>
#include <utility>
#include <vector>

using namespace KestrelCore;
using namespace KestrelC;

struct kestrel_generations {
    std::vector<Generation> all;
    std::vector<kestrel_generation> shown{};  ///< views of these
};

namespace KestrelC {

Text dataFolder() { return Path::appending(Text{UserPlaces::current().applicationData}, "kestrel"); }

GenerationReader opened(const kestrel_history* history, std::int64_t number) {
    const SnapshotHistory& contents = *needed(history, "history").contents;
    if (!contents.generation(number))
        throw Failure{KESTREL_NOT_FOUND, "The history has no generation " + std::to_string(number) + "."};
    return contents.open(number);
}

}  // namespace KestrelC

namespace {

bool isImported(const Generation& generation) { return generation.source.name.has_value(); }

kestrel_generation shown(const Generation& generation) {
    return {.number = generation.number,
            .root = viewOf(generation.scope.root.path()),
            .started_at = generation.startedAt.secondsSince1970(),
            .completed_at = generation.completedAt.secondsSince1970(),
            .record_count = generation.records,
            .total_allocated_bytes = generation.totalAllocatedBytes,
            .stored_bytes = generation.storedBytes,
            .is_complete = generation.isComplete,
            .is_pinned = generation.isPinned,
            .is_imported = isImported(generation)};
}

/// For a history that the loaded snapshot is added to.
GenerationProvenance provenanceOf(const Generation& generation) {
    // What was made of another generation stands for itself there.
    const bool isRemoval = generation.origin == GenerationOrigin::removal;
    return {.origin = isRemoval ? GenerationOrigin::scan : generation.origin,
            .isComplete = generation.isComplete,
            .leftOut = generation.leftOut,
            .crossesMounts = generation.crossesMounts,
            .source = generation.source};
}

}  // namespace

kestrel_code kestrel_history_open(const char* file, kestrel_history** history, kestrel_error** error) noexcept {
    return making(history, error, [&] {
        const Text path = file == nullptr ? Path::appending(dataFolder(), "history.sqlite") : exactPathOf(file, "file");
        return std::make_unique<kestrel_history>(path, std::make_shared<SnapshotHistory>(URL::fromPath(path)));
    });
}

void kestrel_history_free(kestrel_history* history) noexcept { delete history; }

kestrel_code kestrel_history_add(kestrel_history* history, const kestrel_snapshot* snapshot, int64_t* number,
                                 kestrel_error** error) noexcept {
    if (number != nullptr) *number = 0;
    return guarded(error, [&] {
        SnapshotHistory& contents = *needed(history, "history").contents;
        const Generation added = contents.add(needed(snapshot, "snapshot").contents, snapshot->provenance);
        if (number != nullptr) *number = added.number;
    });
}

kestrel_code kestrel_history_forget(kestrel_history* history, const int64_t* numbers, size_t count,
                                    kestrel_error** error) noexcept {
    return guarded(error, [&] {
        SnapshotHistory& contents = *needed(history, "history").contents;
        if (count == 0) return;
        const int64_t* const first = &needed(numbers, "numbers");
        contents.forget({first, first + count});
    });
}

kestrel_code kestrel_history_thin(kestrel_history* history, size_t* count, kestrel_error** error) noexcept {
    if (count != nullptr) *count = 0;
    return guarded(error, [&] {
        const std::vector<std::int64_t> gone = needed(history, "history").contents->thin({}, Date::now());
        if (count != nullptr) *count = gone.size();
    });
}

kestrel_code kestrel_history_set_pinned(kestrel_history* history, int64_t number, bool is_pinned,
                                        kestrel_error** error) noexcept {
    return guarded(error, [&] {
        (void)opened(history, number);
        history->contents->setPinned(number, is_pinned);
    });
}

kestrel_code kestrel_history_generations(const kestrel_history* history, const char* root,
                                         kestrel_generations** generations, kestrel_error** error) noexcept {
    return making(generations, error, [&] {
        const SnapshotHistory& contents = *needed(history, "history").contents;
        std::optional<Text> path;
        if (root != nullptr) path = pathOf(root, "root");
        auto list = std::make_unique<kestrel_generations>(contents.generations(path));
        for (const Generation& each : list->all) list->shown.push_back(shown(each));
        return list;
    });
}

size_t kestrel_generations_count(const kestrel_generations* generations) noexcept {
    return generations == nullptr ? 0 : generations->shown.size();
}

const kestrel_generation* kestrel_generations_at(const kestrel_generations* generations, size_t index) noexcept {
    return index < kestrel_generations_count(generations) ? &generations->shown[index] : nullptr;
}

void kestrel_generations_free(kestrel_generations* generations) noexcept { delete generations; }

kestrel_code kestrel_history_newest(const kestrel_history* history, const char* path, int64_t* number,
                                    kestrel_error** error) noexcept {
    if (number != nullptr) *number = 0;
    return guarded(error, [&] {
        const auto newest = needed(history, "history").contents->newest(pathOf(path, "path"));
        if (!newest) throw Failure{KESTREL_NOT_FOUND, "The history has no scan of that folder."};
        needed(number, "number") = newest->number;
    });
}

kestrel_code kestrel_history_load(const kestrel_history* history, int64_t number, kestrel_snapshot** snapshot,
                                  kestrel_error** error) noexcept {
    return making(snapshot, error, [&] {
        const GenerationReader reader = opened(history, number);
        return std::make_unique<kestrel_snapshot>(reader.load(), provenanceOf(reader.generation()));
    });
}

kestrel_code kestrel_history_find(const kestrel_history* history, int64_t number, const char* path,
                                  kestrel_records** records, kestrel_error** error) noexcept {
    return making(records, error, [&] { return onlyRecord(opened(history, number).record(pathOf(path, "path"))); });
}

kestrel_code kestrel_history_list(const kestrel_history* history, int64_t number, const char* path,
                                  kestrel_records** records, kestrel_error** error) noexcept {
    return making(records, error, [&] { return listOf(opened(history, number).listing(pathOf(path, "path"))); });
}

kestrel_code kestrel_history_search(const kestrel_history* history, int64_t number, const char* query, size_t limit,
                                    kestrel_search_order order, const kestrel_cancellation* cancellation,
                                    kestrel_records** records, size_t* matches, kestrel_error** error) noexcept {
    if (matches != nullptr) *matches = 0;
    return making(records, error, [&] {
        const TypedSearch search{query, limit, order, cancellation};
        return listOf(opened(history, number).search(search.query, search.limit, search.settings), matches);
    });
}
