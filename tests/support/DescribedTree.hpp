#pragma once

#include "KestrelCore/Base/Date.hpp"
#include "KestrelCore/Base/FileIdentity.hpp"
#include "KestrelCore/Base/Text.hpp"
#include "KestrelCore/Snapshot/ScanSnapshot.hpp"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace KestrelCore::testing {

/// An item of a made tree. What is left out is a file of one block about whose age nothing is known.
struct DescribedItem {
    std::string path{};  ///< absolute; a folder's ends with "/"
    std::int64_t bytes = 4096;
    std::optional<Date> modified{};
    bool isLink = false;
    bool isFurtherName = false;  ///< of a file that counts elsewhere
    std::optional<FileIdentity> identity{};
};

/// A scan of "/" that has met these, and the folders above them, with sums as a scan makes them.
[[nodiscard]] ScanSnapshot describedTree(const std::vector<DescribedItem>& items, std::vector<ScanIssue> issues = {});

}  // namespace KestrelCore::testing
