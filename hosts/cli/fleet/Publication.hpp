#pragma once

#include "fleet/Server.hpp"

#include "KestrelCore/Base/CancellationToken.hpp"
#include "KestrelCore/Exchange/PublicationRows.hpp"
#include "KestrelCore/Snapshot/ScanSnapshot.hpp"
#include "KestrelCore/Storage/Generation.hpp"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace KestrelCLI {

/// What is published, and under which names.
struct PublicationPlan {
    std::string host;
    std::string volume;
    bool hasFiles = false;
    std::uint32_t keep = 2;
    std::string program;  ///< version of this one
};

/// What was sent.
struct PublishedRows {
    std::uint64_t publication = 0;
    std::int64_t folders = 0;
    std::int64_t files = 0;
    std::int64_t suggestions = 0;
    std::int64_t bytes = 0;  ///< of the rows, as they went out
};

/// One attempt to publish a scan. It has a number of its own, and its line in `snapshots` is written last: what a
/// broken attempt has left belongs to no line, and no question finds it.
class Publication {
public:
    /// Asks the server what there is of the host and the volume. Throws as the server does, and a sentence where the
    /// scan's root lies in another one that is published there, or that one in it.
    Publication(Server& server, PublicationPlan plan, const KestrelCore::Generation& scan);

    /// What publishing this scan would take away without anybody asking for it, a sentence each: the items of the
    /// publication that held, a later scan, or a whole one. As of the constructor; empty where nothing is lost.
    [[nodiscard]] std::vector<std::string> losses() const;

    /// Gets how many folders or, after these, items have been sent, of how many; of folders 0, as that is not known.
    using Progress = std::function<void(std::int64_t sent, std::int64_t all)>;

    /// Sends everything, while another thread makes what is next. Throws as the server does; then nothing of it is
    /// visible, but when the answer to the last request alone was lost.
    PublishedRows send(const KestrelCore::ScanSnapshot& snapshot,
                       const std::vector<KestrelCore::PublishedSuggestion>& suggestions, const Progress& progress,
                       const KestrelCore::CancellationToken& cancellation);
    /// Clears what is not to be kept: earlier publications of the root beyond the number of those that are kept, those
    /// of scans that ended early where a later one is there, and rows without a line that are older than a day. False
    /// where the tables are distributed, through which nothing can be deleted.
    bool tidy();

private:
    struct Line {
        std::string root;
        std::uint64_t publication = 0;
        std::string snapshot;
        std::uint32_t completed = 0;  ///< of the scan, seconds since 1970
        bool isComplete = true;
        bool hasFiles = false;
    };
    [[nodiscard]] std::vector<Line> lines();
    [[nodiscard]] std::vector<std::uint64_t> publicationsWithRows(const std::string& table);
    void remove(const std::string& table, std::uint64_t owner, const std::vector<std::uint64_t>& publications);

    Server& server_;
    PublicationPlan plan_;
    const KestrelCore::Generation& scan_;
    KestrelCore::PublicationKey key_;
    std::optional<Line> replaced_;    ///< what held of this root
    std::uint64_t beginSeconds_ = 0;  ///< since 1970
};

}  // namespace KestrelCLI
