#pragma once

#include "output/Session.hpp"
#include "store/HistoryAccess.hpp"

#include "KestrelCore/Base/Text.hpp"
#include "KestrelCore/Model/FileRecord.hpp"
#include "KestrelCore/Snapshot/ScanSnapshot.hpp"
#include "KestrelCore/Storage/Generation.hpp"
#include "KestrelCore/Storage/SnapshotHistory.hpp"

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

namespace KestrelCLI {

/// What is saved of the items that a command is to take away: of each in the newest scan that covers it. Nothing is
/// loaded or saved whole but the scan of a snapshot database.
///
/// No call throws: saved scans that can't be used are no reason to refuse a deletion, and when the items are gone they
/// can only follow. What speaks against one goes to the remark.
///
/// Any thread, one at a time. Of the session only the options are read, and that while the lookup lasts.
class DeletionRecords {
public:
    /// Looks the items at `paths` up. `remark` is kept.
    DeletionRecords(const Session& session, const std::vector<KestrelCore::Text>& paths, Remark remark);
    /// The same; what there is to say is said on standard error.
    DeletionRecords(const Session& session, const std::vector<KestrelCore::Text>& paths);

    /// The record whose path has exactly these bytes: a canonically equal path is another item. Empty for what is not
    /// saved, or was not asked for at the beginning.
    [[nodiscard]] std::optional<KestrelCore::FileRecord> record(const KestrelCore::Text& path) const;

    /// Takes what is gone out of the saved scans: of each root out of the newest one.
    void takeOut(const std::vector<KestrelCore::Text>& gone) const;

private:
    void lookUpInHistory(const Session& session, const std::vector<KestrelCore::Text>& paths);
    void lookUpInStore(const std::vector<KestrelCore::Text>& paths);
    void takeOutOfHistory(const std::vector<KestrelCore::Text>& gone) const;
    void takeOutOfStore(const std::vector<KestrelCore::Text>& gone) const;

    Remark remark_;
    std::optional<std::string> store_;
    std::shared_ptr<KestrelCore::SnapshotHistory> history_;
    std::unordered_map<std::string, KestrelCore::FileRecord> records_;    ///< by the path's bytes
    std::map<std::int64_t, std::unordered_set<std::string>> lookedUpIn_;  ///< generation → paths asked for
};

}  // namespace KestrelCLI
