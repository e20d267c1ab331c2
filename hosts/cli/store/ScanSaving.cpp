#include "store/ScanSaving.hpp"

#include "output/ByteFormat.hpp"
#include "output/Times.hpp"
#include "store/DataPlace.hpp"
#include "store/HistoryAccess.hpp"
#include "store/Places.hpp"
#include "store/SavedScan.hpp"

#include "KestrelCore/Storage/SQLiteSnapshotStore.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <exception>
#include <system_error>
#include <vector>

using namespace KestrelCore;

namespace KestrelCLI {

ScanSaving::ScanSaving(const Session& session, GenerationProvenance provenance)
    : session_{session}, provenance_{std::move(provenance)}, store_{namedStorePath(session)} {
    if (!store_) history_ = openHistory(session);
}

ScanSaving::~ScanSaving() {
    if (!begun_.valid()) return;
    try {
        session_.say(fmt::format("The scan was finished, and is saved as number {}.", begun_.get().number));
    } catch (const std::exception& error) {
        session_.say(fmt::format("The scan was finished, but not saved: {}", error.what()));
    }
}

std::optional<EarlierScan> ScanSaving::earlier(const URL& root) const {
    const auto of = [](const Generation& scan) {
        return EarlierScan{.totalBytes = scan.totalAllocatedBytes,
                           .completedAt = scan.completedAt,
                           .number = scan.number,
                           .scan = scan};
    };
    try {
        if (history_ != nullptr) {
            const std::vector<Generation> all = history_->generations(root.path());
            const auto whole =
                std::ranges::find_if(all, [](const Generation& each) { return each.isComplete && !isImported(each); });
            return whole == all.end() ? std::nullopt : std::optional{of(*whole)};
        }
        if (!isStoreThere(*store_)) return std::nullopt;
        const auto snapshot = SQLiteSnapshotStore{URL::fromPath(*store_)}.loadLatest();
        // Only a scan of the same folder can be compared; and one that contradicts itself has no total to speak of.
        if (!snapshot || snapshot->scope().root.path() != root.path() || !snapshot->isConsistent()) return std::nullopt;
        return of(summaryOf(*snapshot));
    } catch (const std::exception&) {
        return std::nullopt;  // whoever saves over it hears what is wrong with the place
    }
}

void ScanSaving::begin(const ScanSnapshot& snapshot) {
    if (history_ == nullptr) return;
    const auto add = [history = history_, snapshot, provenance = provenance_] {
        return history->add(snapshot, provenance);
    };
    try {
        begun_ = std::async(std::launch::async, add);
    } catch (const std::system_error&) {
        // No thread is to be had: then it is saved when it is waited for.
        begun_ = std::async(std::launch::deferred, add);
    }
}

std::optional<Generation> ScanSaving::save(const ScanSnapshot& snapshot) {
    const std::string path = store_ ? *store_ : historyPath();
    try {
        if (history_ == nullptr) {
            SQLiteSnapshotStore{URL::fromPath(path)}.replace(snapshot);
            return summaryOf(snapshot);
        }
        Generation saved = begun_.valid() ? begun_.get() : history_->add(snapshot, provenance_);
        // What this leaves out is the next scan's to take out.
        try {
            (void)history_->thin(session_.settings.thinning(), Date::now());
        } catch (const std::exception& error) {
            session_.say(fmt::format("Older scans could not be thinned out: {}", error.what()));
        }
        return saved;
    } catch (const std::exception& error) {
        // The scan itself is worth its exit code; that it is not kept makes the command fail at the end.
        session_.say(whyNotSaved(path, error.what()));
        if (const auto why = whyNothingIsKept(session_)) session_.say(*why);
        return std::nullopt;
    }
}

std::optional<Generation> ScanSaving::keepFound(const ScanSnapshot& snapshot) {
    if (history_ == nullptr) return std::nullopt;
    try {
        GenerationProvenance provenance = provenance_;
        provenance.isComplete = false;
        Generation kept = history_->add(snapshot, provenance);
        session_.say(fmt::format("What was found until then ({} {}, {}) is kept as scan {}, marked incomplete.",
                                 ByteFormat::count(kept.records - 1), kept.records == 2 ? "item" : "items",
                                 session_.size(kept.totalAllocatedBytes), kept.number));
        return kept;
    } catch (const std::exception& error) {
        session_.say(whyNotSaved(historyPath(), error.what()));
        if (const auto why = whyNothingIsKept(session_)) session_.say(*why);
        return std::nullopt;
    }
}

std::string whyNotSaved(const std::string& path, std::string_view reason) {
    std::string sentence = fmt::format("The scan could not be saved in {}: {}", path, reason);
    // SQLite's own text for a value that is too long says nothing to somebody who only scanned a folder.
    if (reason == "string or blob too big") {
        sentence += ". A snapshot database spells the whole path of every item, and may have 1,000,000,000 bytes; this "
                    "scan has too many items, or they lie too deep. Without --store there is no such bound.";
    }
    return sentence;
}

std::string change(const Session& session, std::int64_t totalBytes, const EarlierScan& earlier, Date now) {
    const std::string when = timeOfEarlierScan(earlier.completedAt, now);
    // A stored total may be anything, so the difference may not fit.
    std::int64_t difference = 0;
    if (__builtin_sub_overflow(totalBytes, earlier.totalBytes, &difference) || difference == INT64_MIN) return "";
    // In words: a sign in front of a size is easily missed.
    if (difference == 0) return "as much as " + when;
    return fmt::format("{} {} than {}", session.size(difference < 0 ? -difference : difference),
                       difference < 0 ? "less" : "more", when);
}

}  // namespace KestrelCLI
