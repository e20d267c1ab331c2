#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace KestrelCore {

/// What stands where a database is, or is to be. Links are followed. Nothing that is there is opened: closing any
/// descriptor of a database would drop the locks that its engine holds on it in this process.
struct DatabaseFile {
    struct Item {
        std::uint64_t device = 0;
        std::uint64_t inode = 0;
        std::int64_t size = 0;  ///< bytes
        bool isRegular = false;
    };

    /// Empty when nothing is there, or nothing that can be looked at.
    [[nodiscard]] static std::optional<Item> item(const std::string& path);
    /// The path with its links resolved, so that all spellings of one place are one; of a file that does not exist yet
    /// only the folder is resolved. `path` as it stands where that fails.
    [[nodiscard]] static std::string resolved(const std::string& path);
    /// Whether this process may create files in the folder that holds `path`.
    [[nodiscard]] static bool isInWritableFolder(const std::string& path);
    /// Makes an empty file at `path` that only this user can read and write, where nothing is.
    static void createPrivate(const std::string& path);
    /// Takes this user's plain file at `path` from all other users; links are not followed. What the user may do with
    /// it stays as it is.
    static void makePrivate(const std::string& path);
    /// Why nothing may be read from or written to a database at `path`: what is there is a link or another user's, or
    /// others may put another file in its place. A phrase for a sentence; empty where nothing speaks against it.
    [[nodiscard]] static std::optional<std::string_view> whyNotTrusted(const std::string& path);
    /// How many bytes this user may still write to the volume that holds `path`, or its folder. Empty where the system
    /// does not say.
    [[nodiscard]] static std::optional<std::int64_t> availableBytes(const std::string& path);
    /// Gives this user's file at `path` the permissions of the one at `model`, if that can be written and it can't.
    static void makeWritableLike(const std::string& model, const std::string& path);
};

}  // namespace KestrelCore
