#include "store/DataPlace.hpp"

#include "store/Places.hpp"

#include <fmt/format.h>

#include <unistd.h>

#include <cstdint>
#include <filesystem>
#include <system_error>

namespace KestrelCLI {

namespace {

namespace fs = std::filesystem;

/// The folder, or the nearest one above it that is there.
fs::path nearestFolder(fs::path folder) {
    std::error_code error;
    while (!fs::exists(folder, error) && folder.has_relative_path()) folder = folder.parent_path();
    return folder;
}

/// Whether there is no room even for a small scan.
bool isDiskFull(const fs::path& folder) {
    constexpr std::uintmax_t least = 262'144;
    std::error_code error;
    const fs::space_info space = fs::space(folder, error);
    // Some of it is for root alone. A file system without any room to tell of has no files of ours anyway.
    return !error && space.capacity > 0 && (geteuid() == 0 ? space.free : space.available) < least;
}

}  // namespace

std::optional<std::string> whyNothingWillBeKept(const Session& session) {
    const auto folder = usualDataFolder();
    if (session.options.store || !folder || !isDiskFull(nearestFolder(*folder))) return std::nullopt;
    return fmt::format(
        "The disk of {} is full, where kestrel keeps scans and receipts; with XDG_DATA_HOME set to a folder on "
        "another disk they are kept there.",
        *folder);
}

std::optional<std::string> whyNothingIsKept(const Session& session) {
    if (auto full = whyNothingWillBeKept(session)) return full;
    const auto folder = usualDataFolder();
    std::error_code error;
    if (session.options.store || !folder || fs::exists(*folder, error)) return std::nullopt;
    return fmt::format("There is no folder {}, where kestrel keeps scans and receipts, and none can be made in {}. "
                       "XDG_DATA_HOME can name another place.",
                       *folder, nearestFolder(*folder).string());
}

}  // namespace KestrelCLI
