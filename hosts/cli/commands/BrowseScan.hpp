#pragma once

#include "commands/BrowseFolders.hpp"
#include "output/Settings.hpp"

#include "KestrelCore/Base/CancellationToken.hpp"
#include "KestrelCore/Base/EventStream.hpp"
#include "KestrelCore/Model/ScanProgress.hpp"
#include "KestrelCore/Model/ScanScope.hpp"
#include "KestrelCore/Scanning/GrowingTree.hpp"
#include "KestrelCore/Scanning/ScanOptions.hpp"
#include "KestrelCore/Snapshot/ScanEvent.hpp"
#include "KestrelCore/Snapshot/ScanSnapshot.hpp"
#include "KestrelCore/Storage/Generation.hpp"

#include <optional>

namespace KestrelCLI {

/// A scan that runs behind a page, and what it has found so far. Dropping it gives it up.
class BrowseScan {
public:
    /// Begins at once. Leaves out what `settings` do.
    BrowseScan(const KestrelCore::ScanScope& scope, const Settings& settings);

    /// Takes what has come. True when the scan has ended; throws what it failed with.
    [[nodiscard]] bool look();
    /// After `look` was true.
    [[nodiscard]] const KestrelCore::ScanSnapshot& result() const { return completed_->snapshot; }
    [[nodiscard]] const KestrelCore::ScanProgress& progress() const { return progress_; }
    /// Folders as far as they were found; stays good after this has gone.
    [[nodiscard]] BrowseFolders::Listing listing() const;

    /// What the history keeps of how it was made.
    [[nodiscard]] const KestrelCore::GenerationProvenance& provenance() const { return provenance_; }

    /// Ends it with what was found, and waits for that until the user asks to stop. Empty where there is nothing.
    [[nodiscard]] std::optional<KestrelCore::ScanCompleted> stop();

private:
    BrowseScan(const KestrelCore::ScanScope& scope, KestrelCore::ScanOptions options);

    KestrelCore::CancellationToken keeping_;
    KestrelCore::GrowingTree growing_;
    KestrelCore::GenerationProvenance provenance_;
    KestrelCore::EventStream<KestrelCore::ScanEvent> events_;
    KestrelCore::ScanProgress progress_;
    std::optional<KestrelCore::ScanCompleted> completed_;
};

}  // namespace KestrelCLI
