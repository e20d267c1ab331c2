#pragma once

#include "commands/SearchFilterOptions.hpp"
#include "commands/ServerOptions.hpp"
#include "fleet/FleetFolders.hpp"
#include "fleet/FleetSelection.hpp"
#include "output/Session.hpp"

#include "KestrelCore/Model/SearchExplanation.hpp"

#include <cstdint>
#include <optional>
#include <string_view>

namespace KestrelCLI {

/// What a question to a fleet is given.
struct FleetOptions {
    ServerOptions server;
    FleetSelection selection;
    std::optional<std::int64_t> top;
    SearchFilterOptions filter;
    std::optional<KestrelCore::SearchOrder> order;
    bool counts = false;
    bool isLiteral = false;
};

// What a fleet answers, written as the commands of one machine write it, with a column more. All throw as the server
// does.

/// Says why there is nothing to show: nothing is published of the selection, or else `otherwise`.
void sayNothing(const Session& session, Server& server, const FleetSelection& selection, std::string_view otherwise);
/// Says where an answer comes from less than all of a disk, which is not to pass for all of it. Items are missing of a
/// search alone.
void sayWhatIsMissing(const Session& session, const FleetCoverage& coverage, bool isSearch);

ExitCode fleetTop(const Session& session, const FleetOptions& options);
ExitCode fleetGrowth(const Session& session, const FleetOptions& options);
ExitCode fleetHosts(const Session& session, const FleetOptions& options);

}  // namespace KestrelCLI
