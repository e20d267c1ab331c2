#pragma once

#include "commands/BrowseFolders.hpp"
#include "output/Session.hpp"

#include "KestrelCore/Base/Text.hpp"
#include "KestrelCore/Model/ScanScope.hpp"
#include "KestrelCore/Storage/SnapshotHistory.hpp"

#include <memory>
#include <optional>
#include <string>

namespace KestrelCLI {

/// What `kestrel browse` begins with: a saved scan, or a folder that is to be scanned first.
struct BrowseStart {
    std::shared_ptr<KestrelCore::SnapshotHistory> history{};  ///< null for the scan of a snapshot database
    std::shared_ptr<const SavedScan> scan{};                  ///< null where `toScan` is
    std::optional<KestrelCore::ScanScope> toScan{};
    KestrelCore::Text folder{};  ///< which is shown first
    std::string whyReadOnly{};   ///< why nothing can be taken away, as a sentence; empty where it can
    std::string whyNoScan{};     ///< why it can't be scanned again; empty where it can
};

/// Shows the page until it is closed, and does what is asked for on it. What there is to say afterwards is said on
/// standard error. The terminal is as it was afterwards, also when something throws.
[[nodiscard]] ExitCode runBrowse(const Session& session, BrowseStart start);

}  // namespace KestrelCLI
