#include "Platform/POSIX/HomeRules.hpp"

#include "Platform/POSIX/FileDescriptor.hpp"
#include "Platform/POSIX/Walk/DirectoryEntries.hpp"

#include <climits>
#include <cstdint>
#include <cstdlib>
#include <fcntl.h>
#include <mach-o/dyld.h>
#include <memory>
#include <unistd.h>

namespace KestrelCore {

std::optional<std::string> environmentValue(const char* name) {
    const char* value = issetugid() == 0 ? std::getenv(name) : nullptr;
    if (value == nullptr || *value == '\0') return std::nullopt;
    return value;
}

bool followsHomeVariable() { return false; }

// /etc/passwd names no people here, and asking for all users may mean asking a directory server. The homes of this
// machine's accounts are folders of /Users, where what is shared by all is nobody's.
std::vector<std::string> homesOfOrdinaryUsers() {
    std::vector<std::string> homes;
    const FileDescriptor folder{::open("/Users", O_RDONLY | O_DIRECTORY | O_CLOEXEC)};
    DirectoryEntries listing{DirectoryEntries::manyEntries};
    while (folder.isOpen() && listing.readPiece(folder.get())) {
        while (const ListedEntry* entry = listing.next()) {
            if (entry->isFolder && entry->name != "Shared" && !entry->name.starts_with('.'))
                homes.push_back("/Users/" + std::string{entry->name});
        }
    }
    return homes;
}

std::string executablePath() {
    std::string path(PATH_MAX, '\0');
    auto size = static_cast<std::uint32_t>(path.size());
    if (_NSGetExecutablePath(path.data(), &size) != 0) {
        // Now it is the length that is needed.
        path.resize(size);
        if (_NSGetExecutablePath(path.data(), &size) != 0) return "";
    }
    const std::unique_ptr<char, void (*)(void*)> resolved{::realpath(path.c_str(), nullptr), std::free};
    return resolved ? resolved.get() : "";
}

}  // namespace KestrelCore
