#pragma once

#include <cstddef>
#include <cstdint>
#include <ctime>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace KestrelCore {

/// The trash folders below a home directory (raw, absolute, "" for "/"): its own, and that of the files which its owner
/// keeps with the system's service on the network.
[[nodiscard]] std::vector<std::string> trashFoldersOfHome(std::string_view home);

/// The folder of all users' trashes at the top of a volume; each user's is the one in it that bears his number.
inline constexpr std::string_view volumeTrashesName = ".Trashes";

/// What is known of a folder that may be a user's trash.
struct TrashCandidate {
    std::uint32_t owner = 0;
    std::uint32_t mode = 0;  ///< permission bits
    /// The volume knows no owners: whoever may use it may use all of it, and what it says of owners means nothing.
    bool isWithoutOwners = false;
};
/// Whether it is that user's alone.
[[nodiscard]] bool isTrashOf(std::uint32_t user, const TrashCandidate& candidate);

/// Whether the failure to open a trash with that errno value says that there is none: nothing of its name, or what is
/// no folder, or a link, which leads to no trash.
[[nodiscard]] bool isAbsenceOfTrash(int errorNumber);

/// Whether an entry of a trash is an item that was thrown away: the notes that Finder keeps there itself are none.
[[nodiscard]] bool isTrashedName(std::string_view name);

/// The length of the system's answer about when an item came into its folder.
inline constexpr std::size_t addedTimeAnswerBytes = 40;
/// Reads that answer: its length, the five sets of what was returned (the first has the attribute), and the time. Empty
/// where the file system keeps none, or the answer is none.
[[nodiscard]] std::optional<std::time_t> addedTimeOf(std::string_view answer);

}  // namespace KestrelCore
