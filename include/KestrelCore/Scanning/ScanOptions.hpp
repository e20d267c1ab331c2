#pragma once

#include "KestrelCore/Base/CancellationToken.hpp"
#include "KestrelCore/Base/Text.hpp"
#include "KestrelCore/Export.hpp"
#include "KestrelCore/Model/ScanScope.hpp"
#include "KestrelCore/Scanning/ExcludePattern.hpp"
#include "KestrelCore/Scanning/GrowingTree.hpp"
#include "KestrelCore/Scanning/LinkedFiles.hpp"

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

    /// Folders below the root whose file CACHEDIR.TAG says that all in them can be made again.
    enum class CacheFolders : std::uint8_t {
        takenIn,
        leftOut  ///< the folder and its tag are listed, and nothing else in it
    };

    /// Other file systems that are mounted below the root.
    enum class Mounts : std::uint8_t {
        leftOut,  ///< the folder that each is mounted on is listed, and nothing in it
        entered   ///< but for what the scan shows elsewhere already, such as a folder that is mounted a second time
    };
    /// Of those file systems the ones in which the kernel shows what it knows, such as /proc: nothing in them lies on a
    /// disk.
    enum class KernelFileSystems : std::uint8_t { leftOut, takenIn };

    SystemFolders systemFolders = SystemFolders::leftOut;
    SmallFiles smallFiles = SmallFiles::folded;
    /// What is not entered and not even looked at. How many items that were, `ScanCompleted` tells.
    std::vector<ExcludePattern> exclude{};
    CacheFolders cacheFolders = CacheFolders::takenIn;
    Mounts mounts = Mounts::leftOut;
    KernelFileSystems kernelFileSystems = KernelFileSystems::leftOut;  ///< where mounts are entered
    /// Where this scan tells of files with several names, for a sum over several scans. Absent: nowhere.
    std::optional<LinkedFiles> linkedFiles{};
    /// Cancelling this ends the walk at its next entry, and the scan with what was found until then: a `ScanCompleted`
    /// that is not complete, or none where not even the root was found. Absent: only the stream can be cancelled, and
    /// ends without a result.
    std::optional<CancellationToken> keepingFound;
    /// Where the host can look at the folders that have been found so far. Absent: nowhere, which costs nothing.
    std::optional<GrowingTree> growing;

    /// All that a scan of this system can take in: small files are listed, and where "/" shows each file once (Linux)
    /// no folder is left out.
    [[nodiscard]] static ScanOptions everything();

    /// What a scan of that scope leaves out with all its content, as a person reads it and a history keeps it: the
    /// system's folders, whether they exist or not, then the patterns, then words for what no pattern names.
    [[nodiscard]] std::vector<Text> leftOut(const ScanScope& scope) const;
    /// Of that the system's folders alone.
    [[nodiscard]] std::vector<Text> systemFoldersLeftOut(const ScanScope& scope) const;
};

}  // namespace KestrelCore
