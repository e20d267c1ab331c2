#include "Platform/InterruptedRemovals.hpp"

#include "Platform/POSIX/FileDescriptor.hpp"
#include "Platform/POSIX/Removal/ItemLocation.hpp"
#include "Platform/POSIX/Removal/RemovalFolder.hpp"
#include "Platform/POSIX/Walk/DirectoryEntries.hpp"

#include <fcntl.h>
#include <iterator>
#include <set>
#include <string>
#include <unistd.h>

namespace KestrelCore {

InterruptedRemovals InterruptedRemovals::in(const Text& folder) {
    InterruptedRemovals found;
    const FileDescriptor opened{
        ::open(folder.string().c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK)};
    if (!opened.isOpen()) return found;
    // Only the first few are kept on the way: anyone who may write here can plant as many as he likes.
    std::set<std::string> first;
    DirectoryEntries listing;
    while (listing.readPiece(opened.get())) {
        while (const ListedEntry* entry = listing.next()) {
            if (!isRemovalName(entry->name)) continue;
            const std::string name{entry->name};
            const auto status = statusIn(opened.get(), name);
            if (!status || status->st_uid != ::geteuid()) continue;
            ++found.count;
            first.insert(name);
            if (first.size() > mostNames) first.erase(std::prev(first.end()));
        }
    }
    found.names.assign(first.begin(), first.end());
    return found;
}

}  // namespace KestrelCore
