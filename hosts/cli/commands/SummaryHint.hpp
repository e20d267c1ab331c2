#pragma once

#include "output/Session.hpp"

#include "KestrelCore/Snapshot/Summary.hpp"

#include <cstdint>
#include <optional>
#include <string>

namespace KestrelCLI {

/// The command that shows the files of the summary's largest group that a search can find, largest first; empty where
/// there is none. `scan` is the number of a saved scan that must be named to be searched; absent where it need not.
[[nodiscard]] std::optional<std::string> searchForLargest(const Session& session, const KestrelCore::Summary& summary,
                                                          std::optional<std::int64_t> scan);

}  // namespace KestrelCLI
