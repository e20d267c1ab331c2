#pragma once

#include "fleet/FleetSelection.hpp"
#include "fleet/Server.hpp"

#include "KestrelCore/Exchange/FleetSearch.hpp"

#include <cstdint>
#include <vector>

namespace KestrelCLI {

/// What a search of a fleet found.
struct FleetFindings {
    std::int64_t matches = 0;                      ///< all that answer
    std::vector<KestrelCore::FleetMatch> results;  ///< best first, the first of them
};

/// Asks a server for all rows that may answer. Where these are too many, asks how many answer, then for the best ones,
/// and for all that only the library can judge. Throws as the server does, and a sentence where there are too many of
/// the latter.
[[nodiscard]] FleetFindings searchFleet(Server& server, const KestrelCore::FleetSearch& search,
                                        const FleetSelection& selection, KestrelCore::SearchOrder order,
                                        std::int64_t limit);

}  // namespace KestrelCLI
