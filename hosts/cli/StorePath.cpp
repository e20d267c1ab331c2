#include "StorePath.hpp"

#include "StoreLocation.hpp"

#include "KestrelCore/Platform/FileManager.hpp"

#include <cstdlib>

namespace KestrelCLI {

std::string storePath(const Session& session) {
    if (session.options.store) return *session.options.store;
    const char* dataHome = std::getenv("XDG_DATA_HOME");
    return defaultStorePath(KestrelCore::FileManager::standard()->homeDirectory().view(),
                            dataHome == nullptr ? std::nullopt : std::optional<std::string>{dataHome});
}

}  // namespace KestrelCLI
