#pragma once

#include "KestrelCore/Base/Text.hpp"
#include "KestrelCore/Snapshot/ScanSnapshot.hpp"

#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace KestrelCLI {

/// What an item is, to a reader of the report: a category of files, or one of the kinds behind them.
enum class ReportType : std::uint8_t { folder = 10, package = 11, link = 12, other = 13 };

/// One item of a `ReportTree`.
struct ReportNode {
    static constexpr std::uint32_t none = std::numeric_limits<std::uint32_t>::max();

    std::uint32_t parent = none;  ///< stands before it
    std::uint32_t firstChild = 0;
    std::uint32_t childCount = 0;  ///< one after the other, by the bytes of their names
    std::uint32_t nameLength = 0;  ///< bytes
    std::size_t nameOffset = 0;    ///< into the names of the tree
    std::int64_t ownBytes = 0;     ///< on disk, without what lies in it
    std::int64_t bytes = 0;        ///< with all that lies in it; a further hard link in it counts for none
    std::int64_t items = 0;        ///< how many lie below it
    std::optional<std::int64_t> modified = std::nullopt;  ///< whole seconds since 1970
    std::uint8_t type = 0;                                ///< an `ItemCategory` of a file, else a `ReportType`
    bool isFurtherLink = false;                           ///< a hard link that is counted elsewhere

    [[nodiscard]] bool isContainer() const {
        return type == static_cast<std::uint8_t>(ReportType::folder) ||
               type == static_cast<std::uint8_t>(ReportType::package);
    }
    [[nodiscard]] bool isFile() const { return type < static_cast<std::uint8_t>(ReportType::folder); }
    /// What it adds to the folders above it.
    [[nodiscard]] std::int64_t weight() const { return isFurtherLink ? 0 : bytes; }
};

/// A folder of a scan as a tree that takes little room: level by level, the items of a folder side by side. Sums are
/// made from the leaves up, so that they fit together whatever the records say.
class ReportTree {
public:
    /// The folder at `path`, a container of the snapshot, whose sizes must be consistent (`isConsistent`). Takes a
    /// second or two for a million records; throws `Interrupted` when the user asked to stop.
    ReportTree(const KestrelCore::ScanSnapshot& snapshot, const KestrelCore::Text& path);

    /// The folder itself first, each item before what lies in it. Never empty.
    [[nodiscard]] const std::vector<ReportNode>& nodes() const { return nodes_; }
    /// As it is stored; of the first node the path.
    [[nodiscard]] std::string_view nameOf(const ReportNode& node) const {
        return std::string_view{names_}.substr(node.nameOffset, node.nameLength);
    }

private:
    void arrange(std::vector<ReportNode> found);
    void sumUp();

    std::vector<ReportNode> nodes_;
    std::string names_;
};

}  // namespace KestrelCLI
