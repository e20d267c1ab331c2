#pragma once

#include "output/Session.hpp"
#include "store/DeletionRun.hpp"
#include "store/Restoration.hpp"
#include "terminal/browse/BrowseRequest.hpp"
#include "terminal/browse/PlanPane.hpp"

#include <cstddef>
#include <string>
#include <vector>

namespace KestrelCLI {

/// What would happen, as the page shows it.
[[nodiscard]] BrowsePlan planOf(const DeletionProposal& proposal, const PlanDeletion& request);

/// What became of `asked` items that were to go. `remarks` are sentences on what could not be done beside it.
[[nodiscard]] BrowseResults resultsOf(const Session& session, const DeletionOutcome& outcome, std::size_t asked,
                                      KestrelCore::DeletionMode mode, const std::vector<std::string>& remarks);

/// What became of items that were to be put back.
[[nodiscard]] BrowseResults resultsOf(const RestoreOutcome& outcome, const std::vector<std::string>& remarks);

}  // namespace KestrelCLI
