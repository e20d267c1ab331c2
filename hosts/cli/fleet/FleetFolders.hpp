#pragma once

#include "fleet/FleetSelection.hpp"
#include "fleet/Server.hpp"

#include <cstdint>
#include <string>
#include <vector>

namespace KestrelCLI {

/// A folder of some machine.
struct FleetFolder {
    std::string host;
    std::string volume;
    std::string path;
    std::uint64_t items = 0;
    std::int64_t bytes = 0;
};

/// How a folder has changed between two publications.
struct FleetChange {
    std::string host;
    std::string volume;
    std::string path;
    std::int64_t before = 0;
    std::int64_t after = 0;
    bool existedBefore = true;
    bool existsNow = true;

    [[nodiscard]] std::int64_t change() const { return after - before; }
};

/// A volume, with all the parts in which it is published.
struct FleetVolume {
    std::string host;
    std::string volume;
    std::uint64_t parts = 0;
    std::int64_t items = 0;  ///< in the parts; their roots are none
    std::int64_t bytes = 0;
    std::uint64_t issues = 0;
    std::uint32_t oldestScan = 0;     ///< seconds since 1970, of the part that was scanned first
    std::uint32_t lastPublished = 0;  ///< likewise, of the part that was published last
    bool isComplete = true;
    bool hasFiles = true;      ///< of every part
    bool hasSomeFiles = true;  ///< of one at least
};

/// What of a selection an answer can't know.
struct FleetCoverage {
    std::uint64_t publications = 0;  ///< that hold
    std::uint64_t unfinished = 0;    ///< of scans that ended early
    std::uint64_t withoutFiles = 0;  ///< with sums of folders alone
};

// All of these throw as the server does.

/// The largest ones first. One that is nearly all one folder in it is left out: that one says more.
[[nodiscard]] std::vector<FleetFolder> largestFolders(Server& server, const FleetSelection& selection,
                                                      std::int64_t most);
/// The largest change first, likewise.
[[nodiscard]] std::vector<FleetChange> changedFolders(Server& server, const FleetSelection& selection,
                                                      std::int64_t most);
/// By host and volume.
[[nodiscard]] std::vector<FleetVolume> publishedVolumes(Server& server, const FleetSelection& selection);
[[nodiscard]] FleetCoverage coverageOf(Server& server, const FleetSelection& selection);
/// How many whole scans there are from which growth is told, beside the newest of their roots.
[[nodiscard]] std::uint64_t earlierScans(Server& server, const FleetSelection& selection);

}  // namespace KestrelCLI
