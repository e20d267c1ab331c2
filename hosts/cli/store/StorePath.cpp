#include "store/StorePath.hpp"

#include "store/StoreLocation.hpp"

#include "KestrelCore/Base/URL.hpp"
#include "KestrelCore/Platform/FileManager.hpp"

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <system_error>

namespace KestrelCLI {

std::string storePath(const Session& session) {
    if (session.options.store) {
        // What stands in a link's or a ".." component's place is the system's to say, so the rest stays as it is.
        std::error_code error;
        const std::string path = std::filesystem::absolute(*session.options.store, error).string();
        return error ? *session.options.store : path;
    }
    const char* dataHome = std::getenv("XDG_DATA_HOME");
    return defaultStorePath(KestrelCore::FileManager::standard()->homeDirectory().view(),
                            dataHome == nullptr ? std::nullopt : std::optional<std::string>{dataHome});
}

bool isStoreThere(const std::string& path) {
    const std::string place = KestrelCore::URL::fromPath(path).path().string();
    std::error_code error;
    // What can't be looked at is for the store to refuse, and so is what has no size, such as a pipe.
    if (!std::filesystem::exists(place, error)) return static_cast<bool>(error);
    const std::uintmax_t bytes = std::filesystem::file_size(place, error);
    return error || bytes > 0;
}

}  // namespace KestrelCLI
