#pragma once

#include "Platform/macOS/Frameworks/CoreFoundation.hpp"

// What is used of IOKit, declared as its documentation has it, and found when the program runs.

namespace KestrelCore::IOKit {

/// The state of all power sources of this moment; null when the system gives none.
[[nodiscard]] CoreFoundation::Owned powerSourcesInfo();
/// An array of what can be asked about below; null when the system gives none.
[[nodiscard]] CoreFoundation::Owned powerSourcesList(CoreFoundation::Object info);
/// A dictionary that `info` keeps; null when the system gives none.
[[nodiscard]] CoreFoundation::Object powerSourceDescription(CoreFoundation::Object info,
                                                            CoreFoundation::Object powerSource);

}  // namespace KestrelCore::IOKit
