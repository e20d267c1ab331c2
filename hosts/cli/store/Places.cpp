#include "store/Places.hpp"

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
#include <utility>

namespace KestrelCLI {

namespace {

namespace fs = std::filesystem;

constexpr const char* historyName = "/history.sqlite";
constexpr const char* receiptsName = "/receipts";
constexpr const char* earlierStoreName = "/snapshots.sqlite";

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

std::string defaultDataFolder(std::string_view home, const std::optional<std::string>& dataHome) {
    // A relative XDG_DATA_HOME is invalid by its own definition, and would follow the working directory.
    std::string folder{home};
    if (KESTREL_USES_APPLICATION_SUPPORT) {
        folder += "/Library/Application Support";
    } else if (dataHome && dataHome->starts_with('/')) {
        folder = *dataHome;
    } else {
        folder += "/.local/share";
    }
    return folder + "/kestrel";
}

std::optional<std::string> usualDataFolder() {
    const char* value = std::getenv("XDG_DATA_HOME");
    const auto dataHome = value == nullptr ? std::nullopt : std::optional<std::string>{value};
    std::string home;
    try {
        home = KestrelCore::FileManager::standard()->homeDirectory().string();
    } catch (const KestrelCore::PlatformError&) {
        // It has no text. What is made of this has none either; but the data folder may lie elsewhere.
        home = "/\xFF";
    }
    std::string path = defaultDataFolder(home, dataHome);
    if (!isUTF8(path)) return std::nullopt;
    return path;
}

std::string dataFolder() {
    const std::optional<std::string> usual = usualDataFolder();
    if (!usual) {
        throw std::runtime_error{"The name of the data folder is not UTF-8. Set XDG_DATA_HOME to another one, or name "
                                 "a store with --store."};
    }
    makePrivate(*usual);
    return *usual;
}

std::string historyPath() { return dataFolder() + historyName; }

std::optional<std::string> usualHistoryPath() {
    const auto folder = usualDataFolder();
    return folder ? std::optional{*folder + historyName} : std::nullopt;
}

std::optional<std::string> usualReceiptsPath() {
    const auto folder = usualDataFolder();
    return folder ? std::optional{*folder + receiptsName} : std::nullopt;
}

std::string earlierStorePath() { return dataFolder() + earlierStoreName; }

std::optional<std::string> namedStorePath(const Session& session) {
    if (!session.options.store) return std::nullopt;
    // What stands in a link's or a ".." component's place is the system's to say, so the rest stays as it is.
    std::error_code error;
    const std::string absolute = fs::absolute(*session.options.store, error).string();
    const std::string path = error ? *session.options.store : absolute;
    if (!isUTF8(path)) throw UsageError{fmt::format("The name {} is not UTF-8. Name another store.", path)};
    return path;
}

std::string receiptsPath(const Session& session) {
    // Beside the database and not in the data folder at large: two stores have two sets of receipts.
    if (const auto store = namedStorePath(session)) return *store + "-receipts";
    const std::string folder = dataFolder();
    const std::string earlier = folder + earlierStoreName + "-receipts";
    const std::string receipts = folder + receiptsName;
    std::error_code error;
    if (!fs::is_directory(fs::symlink_status(earlier, error))) return receipts;
    // A folder that is there is not replaced, unless it is empty.
    fs::rename(earlier, receipts, error);
    return error && !fs::exists(receipts) ? earlier : receipts;
}

std::vector<std::string> ownPaths(const Session& session) {
    std::vector<std::string> databases;
    std::vector<std::string> paths;
    if (auto store = namedStorePath(session)) databases.push_back(std::move(*store));
    // A folder whose name is no text is never made.
    if (const auto folder = usualDataFolder()) {
        databases.push_back(*folder + historyName);
        databases.push_back(*folder + earlierStoreName);
        paths.push_back(*folder + "/receipts");
    }
    for (const std::string& database : databases) {
        // What belongs to a database that is a link lies beside the file it leads to.
        std::error_code error;
        const std::string resolved = fs::weakly_canonical(database, error).string();
        for (const std::string& named : {database, error ? database : resolved}) {
            for (const char* ending : {"", "-wal", "-shm", "-lock", "-journal", "-receipts"})
                paths.push_back(named + ending);
        }
    }
    return paths;
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
