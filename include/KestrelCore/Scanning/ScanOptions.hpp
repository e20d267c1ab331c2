#pragma once

#include "KestrelCore/Base/CancellationToken.hpp"
#include "KestrelCore/Base/Text.hpp"
#include "KestrelCore/Export.hpp"
#include "KestrelCore/Model/ScanScope.hpp"
#include "KestrelCore/Scanning/GrowingTree.hpp"

#include <cstdint>
#include <optional>
#include <vector>

namespace KestrelCore {

/// What a scan takes in, and how it may end. The defaults are those of a scan without options.
struct KESTRELCORE_EXPORT ScanOptions {
    /// Of a scan of "/": the folders that are the system's own.
    enum class SystemFolders : std::uint8_t { leftOut, takenIn };
    /// Of a scan of "/": ordinary files of less than a mebibyte on disk.
    enum class SmallFiles : std::uint8_t {
        folded,  ///< their bytes are their folder's, they themselves no records
        listed
    };

    SystemFolders systemFolders = SystemFolders::leftOut;
    SmallFiles smallFiles = SmallFiles::folded;
    /// Cancelling this ends the walk at its next entry, and the scan with what was found until then: a `ScanCompleted`
    /// that is not complete, or none where not even the root was found. Absent: only the stream can be cancelled, and
    /// ends without a result.
    std::optional<CancellationToken> keepingFound;
    /// Where the host can look at the folders that have been found so far. Absent: nowhere, which costs nothing.
    std::optional<GrowingTree> growing;

    /// All that a scan of this system can take in: small files are listed, and where "/" shows each file once (Linux)
    /// no folder is left out.
    [[nodiscard]] static ScanOptions everything();

    /// The folders that a scan of that scope leaves out with all their content, whether they exist or not.
    [[nodiscard]] std::vector<Text> leftOut(const ScanScope& scope) const;
};

}  // namespace KestrelCore
