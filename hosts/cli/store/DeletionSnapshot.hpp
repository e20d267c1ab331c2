#pragma once

#include "output/Session.hpp"

#include "KestrelCore/Base/Text.hpp"
#include "KestrelCore/Snapshot/ScanSnapshot.hpp"

#include <optional>
#include <vector>

namespace KestrelCLI {

/// The saved snapshot, if there is one that can be relied on; what speaks against it is said on standard error. A
/// database that does not exist is not created.
[[nodiscard]] std::optional<KestrelCore::ScanSnapshot> savedSnapshot(const Session& session);

/// Saves the snapshot that is stored now again without the items at `paths`. Failures are said on standard error.
void saveWithout(const Session& session, const std::vector<KestrelCore::Text>& paths);

}  // namespace KestrelCLI
