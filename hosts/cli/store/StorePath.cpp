#include "store/StorePath.hpp"

#include "KestrelCore/Base/PlatformError.hpp"
#include "KestrelCore/Base/Text.hpp"
#include "KestrelCore/Base/URL.hpp"
#include "KestrelCore/Platform/FileManager.hpp"

#include <fmt/format.h>

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <system_error>

namespace KestrelCLI {

namespace {

namespace fs = std::filesystem;

bool isUTF8(const std::string& bytes) { return KestrelCore::Text{bytes}.view() == bytes; }

/// Takes the folder from other users, who could read there what lies in folders that are closed to them. One that
/// belongs to somebody else stays as it is, and so does what a link leads to.
void makePrivate(const fs::path& folder) {
    constexpr fs::perms others = fs::perms::group_all | fs::perms::others_all;
    std::error_code error;
    const fs::file_status status = fs::symlink_status(folder, error);
    if (error || !fs::is_directory(status) || (status.permissions() & others) == fs::perms::none) return;
    fs::permissions(folder, others, fs::perm_options::remove | fs::perm_options::nofollow, error);
}

}  // namespace

std::string defaultStorePath(std::string_view home, const std::optional<std::string>& dataHome) {
    // A relative XDG_DATA_HOME is invalid by its own definition, and would follow the working directory.
    std::string folder{home};
    if (KESTREL_USES_APPLICATION_SUPPORT) {
        folder += "/Library/Application Support";
    } else if (dataHome && dataHome->starts_with('/')) {
        folder = *dataHome;
    } else {
        folder += "/.local/share";
    }
    return folder + "/kestrel/snapshots.sqlite";
}

std::optional<std::string> usualStorePath() {
    const char* value = std::getenv("XDG_DATA_HOME");
    const auto dataHome = value == nullptr ? std::nullopt : std::optional<std::string>{value};
    std::string home;
    try {
        home = KestrelCore::FileManager::standard()->homeDirectory().string();
    } catch (const KestrelCore::PlatformError&) {
        // It has no text. What is made of this has none either; but the data folder may lie elsewhere.
        home = "/\xFF";
    }
    std::string path = defaultStorePath(home, dataHome);
    if (!isUTF8(path)) return std::nullopt;
    return path;
}

std::string storePath(const Session& session) {
    if (session.options.store) {
        // What stands in a link's or a ".." component's place is the system's to say, so the rest stays as it is.
        std::error_code error;
        const std::string absolute = fs::absolute(*session.options.store, error).string();
        const std::string path = error ? *session.options.store : absolute;
        if (!isUTF8(path)) throw UsageError{fmt::format("The name {} is not UTF-8. Name another store.", path)};
        return path;
    }
    const std::optional<std::string> usual = usualStorePath();
    if (!usual) {
        throw std::runtime_error{"The name of the data folder is not UTF-8. Set XDG_DATA_HOME to another one, or name "
                                 "a store with --store."};
    }
    makePrivate(fs::path{*usual}.parent_path());
    return *usual;
}

bool isStoreThere(const std::string& path) {
    const std::string place = KestrelCore::URL::fromPath(path).path().string();
    std::error_code error;
    // What can't be looked at is for the store to refuse, and so is what has no size, such as a pipe.
    // Links are followed: a store that is a link is the file it leads to.
    if (!fs::exists(place, error)) return static_cast<bool>(error);
    const std::uintmax_t bytes = fs::file_size(place, error);
    return error || bytes > 0;
}

}  // namespace KestrelCLI
