#pragma once

#include "fleet/Server.hpp"

#include <optional>
#include <string>
#include <vector>

namespace KestrelCLI {

/// Which part of a fleet is asked about.
struct FleetSelection {
    std::optional<std::string> host;    ///< absent: all
    std::optional<std::string> volume;  ///< absent: all

    /// Conditions on the columns `host` and `volume`, each with " AND " before it; the names are added to `texts`,
    /// after those that are there.
    [[nodiscard]] std::string condition(std::vector<std::string>& texts) const;
    /// Why there is no answer where nothing is published of the selection: one sentence; empty where something is.
    [[nodiscard]] std::string absence(Server& server) const;
};

}  // namespace KestrelCLI
