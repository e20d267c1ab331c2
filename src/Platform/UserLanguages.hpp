#pragma once

#include "KestrelCore/Base/Text.hpp"

#include <vector>

namespace KestrelCore {

/// The languages in which bundles are to name themselves, the preferred one first, such as "de-DE": those that the user
/// has chosen for the system, and English where there is no such choice. Never empty. Any thread.
[[nodiscard]] std::vector<Text> userLanguages();

}  // namespace KestrelCore
