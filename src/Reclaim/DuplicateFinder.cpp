#include "KestrelCore/Reclaim/DuplicateFinder.hpp"

#include "Reclaim/DuplicateSearch.hpp"
#include "Snapshot/SnapshotAccess.hpp"

namespace KestrelCore {

EventStream<DuplicateEvent> DuplicateFinder::find(const ScanSnapshot& snapshot, const Text& folder,
                                                  const DuplicateOptions& options) {
    return EventStream<DuplicateEvent>::start(
        [snapshot, folder, options](const EventStream<DuplicateEvent>::Continuation& events) {
            DuplicateSearch search{SnapshotAccess::storage(snapshot), options, events.cancellation(),
                                   [&events](const DuplicateProgress& progress) { events.yield(progress); }};
            if (auto report = search.run(folder)) events.yield(std::move(*report));
        });
}

}  // namespace KestrelCore
