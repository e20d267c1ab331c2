#pragma once

#include "output/Session.hpp"

#include "KestrelCore/Base/Text.hpp"
#include "KestrelCore/Storage/Generation.hpp"

#include <string>
#include <vector>

namespace KestrelCLI {

/// What a scan was told to leave out, for a line beside other things: "*.iso, node_modules and 3 more"; escaped. Empty
/// of a scan of everything.
[[nodiscard]] std::string leftOutInWords(const Session& session, const std::vector<KestrelCore::Text>& leftOut);

/// Warns, in a sentence for a person, that two scans do not show the same: one has left out what the other took in, or
/// only one has entered other file systems. Nothing of two that are alike.
void warnOfUnlike(const Session& session, const KestrelCore::Generation& since, const KestrelCore::Generation& until);

/// The sentence; empty of two that are alike.
[[nodiscard]] std::string unlikenessInWords(const Session& session, const KestrelCore::Generation& since,
                                            const KestrelCore::Generation& until);

}  // namespace KestrelCLI
