#pragma once

#include "Base/ByteBudget.hpp"
#include "Base/SeededHash.hpp"
#include "Deletion/SafetyRules.hpp"
#include "KestrelCore/Base/FileIdentity.hpp"
#include "KestrelCore/Base/Text.hpp"
#include "KestrelCore/Model/ScanIssue.hpp"
#include "KestrelCore/Model/ScanProgress.hpp"
#include "KestrelCore/Scanning/ScanOptions.hpp"
#include "Platform/Traversal.hpp"
#include "Scanning/ExtensionTable.hpp"
#include "Scanning/GrowingFolders.hpp"
#include "Scanning/ScannedTree.hpp"

#include <boost/unordered/unordered_flat_set.hpp>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace KestrelCore {

/// Turns the entries of one walk into records, issues and progress reports. One thread.
class ScanWalk {
public:
    /// What a person could still go through; a disk that answers nothing but errors must not fill the memory with them.
    static constexpr std::size_t mostIssues = 1000;

    ScanWalk(const Text& rootPath, const SafetyRules& rules, std::function<void(ScanProgress)> report,
             const ScanOptions& options = {});

    /// One entry. False when the walk must leave the entry's content out.
    [[nodiscard]] bool accept(const TraversalEntry& entry);
    /// The last report of the walk.
    void reportEnd();

    [[nodiscard]] const std::vector<ScanIssue>& issues() const { return issues_; }
    /// How many entries each rule of the walk's filter has left out; those without any may be missing at the end.
    [[nodiscard]] const std::vector<std::int64_t>& leftOut() const { return leftOut_; }
    [[nodiscard]] ScannedTree& tree() { return tree_; }
    /// The folders for who looks at them meanwhile; null where the options let nobody look.
    [[nodiscard]] const GrowingFolders* growing() const { return growing_ ? &*growing_ : nullptr; }

private:
    /// A directory on the way to the current entry.
    struct Level {
        std::size_t pathLength;  ///< of `path_` up to and with this directory
        std::uint32_t row;
        ScannedTree::FolderIndex folder;  ///< `ScannedTree::none` until something lies in it
        SafetyRules::FolderContext rating;
    };

    void acceptRoot(const TraversalEntry& entry);
    void addRoot(const FileStatus& status);
    /// Returns the new row's position, or `ScannedTree::none` for a file that was folded.
    std::uint32_t addItem(const TraversalEntry& entry, std::string_view name);
    void addIssue(std::string_view name, int errorNumber);
    /// What the row of an item says; `name` is well-formed.
    [[nodiscard]] static RecordStorage::Fields fields(const FileStatus& status, std::string_view name,
                                                      const ExtensionTable::Entry& extension, bool isDuplicate,
                                                      RiskLevel risk);
    /// Whether a file with several links was met before; notes it otherwise. The first link counts, the others weigh
    /// nothing.
    [[nodiscard]] bool isFurtherLink(const FileStatus& status);
    /// The folder for the content of a level, made when something is found in it.
    [[nodiscard]] ScannedTree::FolderIndex folder(Level& level);
    /// The name as UTF-8; valid until the next call.
    [[nodiscard]] std::string_view wellFormed(std::string_view rawName);
    [[nodiscard]] Text path(std::string_view name) const;
    void count(const FileStatus& status, bool isDuplicate, std::string_view name);

    /// A volume may claim what inode numbers it likes.
    struct IdentityHash {
        std::size_t operator()(const FileIdentity& identity) const {
            return static_cast<std::size_t>(seededHash(identity.device, identity.inode));
        }
    };

    Text rootPath_;
    bool isWholeDisk_;
    bool leavesSystemOut_;
    bool foldsSmallFiles_;
    const SafetyRules& rules_;
    std::function<void(ScanProgress)> report_;

    ScannedTree tree_;
    std::optional<GrowingFolders> growing_;
    ExtensionTable extensions_;
    boost::unordered_flat_set<FileIdentity, IdentityHash> seenLinks_;
    std::optional<LinkedFiles> linkedFiles_;
    ByteBudget budget_;  ///< of all sizes that the snapshot will hold
    std::vector<ScanIssue> issues_;
    std::vector<std::int64_t> leftOut_;
    std::vector<Level> levels_;
    std::string path_;  ///< of the directory of the last level; empty for "/"
    std::string nameBuffer_;
    std::int64_t filesSeen_ = 0;
    std::int64_t allocatedBytesSeen_ = 0;
};

}  // namespace KestrelCore
