#pragma once

#include <optional>
#include <string>
#include <vector>

namespace KestrelCore::MacOS {

/// Where file systems are mounted at this moment, raw and free of links; empty where the system does not tell. No
/// volume is asked, so that none has to answer.
[[nodiscard]] std::optional<std::vector<std::string>> mountPoints();

}  // namespace KestrelCore::MacOS
