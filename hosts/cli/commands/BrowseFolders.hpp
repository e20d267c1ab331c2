#pragma once

#include "store/SavedScan.hpp"
#include "terminal/browse/BrowseModel.hpp"
#include "terminal/browse/BrowseRequest.hpp"

#include "KestrelCore/Base/CancellationToken.hpp"
#include "KestrelCore/Base/Text.hpp"
#include "KestrelCore/Reclaim/Suggestions.hpp"
#include "KestrelCore/Snapshot/FolderListing.hpp"
#include "KestrelCore/Storage/SnapshotHistory.hpp"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

namespace KestrelCLI {

/// Where the page of `kestrel browse` has its folders from: a saved scan or one that runs, and the one before it to
/// compare with. Never changes; any thread. Where nothing else is said, what fails is a sentence in the
/// answer.
class BrowseFolders {
public:
    using Listing = std::function<std::optional<KestrelCore::FolderListing>(const KestrelCore::Text&)>;

    /// Of a saved scan. `earlier` may be null.
    BrowseFolders(std::shared_ptr<const SavedScan> scan, std::shared_ptr<const SavedScan> earlier);
    /// Of a scan that runs, whose folders `listing` tells.
    BrowseFolders(KestrelCore::Text root, Listing listing, std::shared_ptr<const SavedScan> earlier);

    [[nodiscard]] std::shared_ptr<const BrowseFolder> folder(const KestrelCore::Text& path) const;
    /// What the folder's picture shows; null where it was cancelled.
    [[nodiscard]] std::shared_ptr<const BrowsePicture>
    picture(const std::shared_ptr<const BrowseFolder>& folder,
            const KestrelCore::CancellationToken& cancellation) const;
    /// Null where it was cancelled.
    [[nodiscard]] std::shared_ptr<const BrowseFound> find(const FindBelow& query,
                                                          const KestrelCore::CancellationToken& cancellation) const;

    /// Null for what is no folder of the scan, or where it was cancelled. Throws as the saved scan does.
    [[nodiscard]] std::shared_ptr<const KestrelCore::Summary>
    summary(const KestrelCore::Text& path, KestrelCore::SummaryGrouping grouping,
            const KestrelCore::CancellationToken& cancellation) const;

    /// What may go below the folder; null where it was cancelled. Throws as the saved scan does.
    [[nodiscard]] std::shared_ptr<const KestrelCore::Suggestions>
    suggestions(const KestrelCore::Text& path, const KestrelCore::CancellationToken& cancellation) const;

    /// The same of the newest scan of the same root, which another process, or this one, may have made or changed;
    /// what this one shows where nothing newer can be read.
    [[nodiscard]] std::shared_ptr<const BrowseFolders> newest(const KestrelCore::SnapshotHistory& history) const;

    /// Null while a first scan runs.
    [[nodiscard]] const SavedScan* scan() const { return scan_.get(); }
    [[nodiscard]] const SavedScan* earlier() const { return earlier_.get(); }
    [[nodiscard]] const std::shared_ptr<const SavedScan>& sharedEarlier() const { return earlier_; }

private:
    void fill(PictureItem& item, const KestrelCore::Text& path, std::int64_t least, int levels,
              const KestrelCore::CancellationToken& cancellation) const;

    KestrelCore::Text root_;
    Listing listing_;
    std::shared_ptr<const SavedScan> scan_;
    std::shared_ptr<const SavedScan> earlier_;
};

/// The natural order of the folder's names; empty where it was cancelled.
[[nodiscard]] std::optional<BrowseNameOrder> nameOrder(const std::shared_ptr<const BrowseFolder>& folder,
                                                       const KestrelCore::CancellationToken& cancellation);

/// The newest whole scan of `root` that is older than `scan` (absent: than now); null where there is none, or none that
/// can be read.
[[nodiscard]] std::shared_ptr<const SavedScan> scanBefore(const KestrelCore::SnapshotHistory& history,
                                                          const KestrelCore::Text& root,
                                                          const std::optional<KestrelCore::Generation>& scan);

}  // namespace KestrelCLI
