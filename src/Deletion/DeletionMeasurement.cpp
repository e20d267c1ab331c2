#include "KestrelCore/Deletion/DeletionMeasurement.hpp"

#include "Base/ByteBudget.hpp"
#include "KestrelCore/Base/FileIdentity.hpp"
#include "KestrelCore/Base/Path.hpp"
#include "Platform/FileStatus.hpp"
#include "Platform/Traversal.hpp"

#include <unordered_map>
#include <unordered_set>

// A file's blocks come free with its last name. So for each item it is kept how many names of a file with several names
// lie in it; whether that is all of them is asked for all items of a request together.

namespace KestrelCore {

namespace {

/// A file with more than one name.
struct LinkedFile {
    std::int64_t allocatedBytes = 0;
    std::uint64_t links = 0;       ///< that the file system counts
    std::uint64_t namesBelow = 0;  ///< that the walk met
};
using LinkedFiles = std::unordered_map<FileIdentity, LinkedFile>;

struct Measured {
    DeletionMeasurement::Amount amount;
    std::int64_t unsharedBytes = 0;
    LinkedFiles linked;
    bool isCut = false;  ///< by a cancellation
};

/// Sums of real disks stay far below the bound; a file system that claims more must not make the sum wrap.
void add(std::int64_t& sum, std::int64_t bytes) {
    constexpr std::int64_t most = ByteBudget::most;
    if (bytes > 0) sum = bytes > most - sum ? most : sum + bytes;
}

/// Counts one name of an item.
void count(Measured& result, const FileStatus& status) {
    if (status.type == FileType::directory || status.links < 2) {
        add(result.unsharedBytes, status.allocatedBytes);
        add(result.amount.allocatedBytes, status.allocatedBytes);
        return;
    }
    LinkedFile& file = result.linked[{status.device, status.inode}];
    if (file.namesBelow == 0) add(result.amount.allocatedBytes, status.allocatedBytes);
    file.allocatedBytes = status.allocatedBytes;
    file.links = status.links;
    ++file.namesBelow;
}

Measured measured(const std::string& path, const CancellationToken& cancellation) {
    Measured result;
    // A walk is more than one file needs.
    const FileStatusResult itself = fileStatus(path);
    if (itself.status && itself.status->type != FileType::directory) {
        count(result, *itself.status);
        return result;
    }
    const auto walk = openTraversal({.root = path, .notEntered = {}, .cancellation = cancellation});
    if (!walk) {
        result.amount.unread = 1;
        return result;
    }
    while (const TraversalEntry* entry = walk->next()) {
        if (entry->kind == TraversalEntry::Kind::directoryEnd) continue;
        if (entry->status == nullptr) {
            ++result.amount.unread;
            continue;
        }
        count(result, *entry->status);
    }
    if (walk->errorNumber() != 0) ++result.amount.unread;
    result.isCut = cancellation.isCancelled();
    return result;
}

}  // namespace

struct DeletionMeasurement::State {
    std::unordered_map<std::string, Measured> items;  ///< by path
};

DeletionMeasurement::DeletionMeasurement() : state_{std::make_unique<State>()} {}

DeletionMeasurement::~DeletionMeasurement() = default;

DeletionMeasurement::Amount DeletionMeasurement::measure(const Text& path, const CancellationToken& cancellation) {
    const auto [found, isNew] = state_->items.try_emplace(path.string());
    if (isNew || found->second.isCut) found->second = measured(path.string(), cancellation);
    return found->second.amount;
}

std::int64_t DeletionMeasurement::freedBytes(const std::vector<Text>& paths) const {
    std::unordered_set<std::string> all;
    for (const Text& path : paths) all.insert(path.string());
    const auto isBelowAnother = [&all](const std::string& path) {
        for (std::size_t end = path.rfind('/'); end != std::string::npos && end > 0; end = path.rfind('/', end - 1))
            if (all.contains(path.substr(0, end))) return true;
        return false;
    };
    std::int64_t total = 0;
    LinkedFiles linked;
    for (const std::string& path : all) {
        const auto found = state_->items.find(path);
        if (found == state_->items.end() || isBelowAnother(path)) continue;
        add(total, found->second.unsharedBytes);
        for (const auto& [identity, file] : found->second.linked) {
            LinkedFile& sum = linked[identity];
            sum.allocatedBytes = file.allocatedBytes;
            sum.links = file.links;
            sum.namesBelow += file.namesBelow;
        }
    }
    for (const auto& [identity, file] : linked)
        if (file.namesBelow >= file.links) add(total, file.allocatedBytes);
    return total;
}

}  // namespace KestrelCore
