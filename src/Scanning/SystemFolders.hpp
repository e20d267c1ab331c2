#pragma once

#include <array>
#include <string_view>

namespace KestrelCore {

/// Directories of a scan of "/" that are left out with all their content, unless its options take them in.
inline constexpr std::array<std::string_view, 13> excludedFromDisk{"/System",
                                                                   "/Library",
                                                                   "/private",
                                                                   "/usr",
                                                                   "/bin",
                                                                   "/sbin",
                                                                   "/Volumes",
                                                                   "/dev",
                                                                   "/Network",
                                                                   "/.vol",
                                                                   "/.Spotlight-V100",
                                                                   "/.fseventsd",
                                                                   "/.DocumentRevisions-V100"};

/// How folders with a cache's tag are called where a person reads what was left out.
inline constexpr const char* cacheFoldersInWords = "folders with a CACHEDIR.TAG";

}  // namespace KestrelCore
