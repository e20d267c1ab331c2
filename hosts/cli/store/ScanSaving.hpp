#pragma once

#include "output/Session.hpp"
#include "terminal/Interruption.hpp"

#include "KestrelCore/Base/Date.hpp"
#include "KestrelCore/Base/URL.hpp"
#include "KestrelCore/Snapshot/ScanSnapshot.hpp"
#include "KestrelCore/Storage/Generation.hpp"
#include "KestrelCore/Storage/SnapshotHistory.hpp"

#include <cstdint>
#include <future>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace KestrelCLI {

/// What is saved of the folder that is scanned anew.
struct EarlierScan {
    std::int64_t totalBytes = 0;
    KestrelCore::Date completedAt;
    std::int64_t number = 0;  ///< in the history; 0 for the scan of a snapshot database
    std::optional<KestrelCore::Generation> scan;
};

/// Where a finished scan is kept: in the history, or as the one scan of the database that --store names.
class ScanSaving {
public:
    /// Throws where no scan can ever be saved at that place, so that this is known before a scan and not after it.
    explicit ScanSaving(const Session& session, KestrelCore::GenerationProvenance provenance = {});
    /// Brings to its end what has begun and was not waited for, because the user asked to stop, and says so.
    ~ScanSaving();
    ScanSaving(const ScanSaving&) = delete;
    ScanSaving& operator=(const ScanSaving&) = delete;

    /// The newest one that came to its end. Empty when nothing usable is saved, what is saved contradicts itself, or it
    /// is of another folder. Throws nothing.
    [[nodiscard]] std::optional<EarlierScan> earlier(const KestrelCore::URL& root) const;

    /// Begins to save into the history beside what the caller goes on with. Does nothing for a snapshot database, whose
    /// one scan is replaced when that is asked for only.
    void begin(const KestrelCore::ScanSnapshot& snapshot);

    /// Saves, or waits for what has begun. Absent when that failed; then it has said why, and what was saved before
    /// stays. In the history older scans may go, as its usual policy wants it. Number 0 for a snapshot database.
    [[nodiscard]] std::optional<KestrelCore::Generation> save(const KestrelCore::ScanSnapshot& snapshot);

    /// Keeps what a scan found that was stopped before its end, and says so. Only in the history: the one scan of a
    /// snapshot database is worth more than a part of another. Absent where it is not kept.
    std::optional<KestrelCore::Generation> keepFound(const KestrelCore::ScanSnapshot& snapshot);

    /// Null for a snapshot database.
    [[nodiscard]] const KestrelCore::SnapshotHistory* history() const { return history_.get(); }

private:
    const Session& session_;
    KestrelCore::GenerationProvenance provenance_;  ///< of what is added to the history
    std::optional<std::string> store_;
    std::shared_ptr<KestrelCore::SnapshotHistory> history_;
    std::future<KestrelCore::Generation> begun_;
};

/// Ends a scan that was stopped before its end, of which what was found is kept.
class InterruptedScan final : public Interrupted {
public:
    explicit InterruptedScan(KestrelCore::Generation kept) : kept_{std::move(kept)} {}
    [[nodiscard]] const KestrelCore::Generation& kept() const noexcept { return kept_; }

private:
    KestrelCore::Generation kept_;
};

/// What is said when the database at `path` did not take a scan, for the reason that the library gave.
[[nodiscard]] std::string whyNotSaved(const std::string& path, std::string_view reason);

/// How a total differs from an earlier one: "1.20 GB more than 3 days ago".
[[nodiscard]] std::string change(const Session& session, std::int64_t totalBytes, const EarlierScan& earlier,
                                 KestrelCore::Date now);

}  // namespace KestrelCLI
