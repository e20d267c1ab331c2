#include "Reclaim/DuplicateCandidates.hpp"

#include "KestrelCore/Base/Path.hpp"

#include <algorithm>
#include <cstddef>
#include <string>
#include <tuple>

namespace KestrelCore {

namespace {

/// Which folders are `folder` or lie below it, by their index.
std::vector<char> foldersBelow(const RecordStorage& storage, const Text& folder) {
    const std::vector<RecordStorage::Folder>& folders = storage.folders();
    std::vector<char> isBelow(folders.size(), 0);
    const bool isTop = folder.view() == "/";
    for (RecordStorage::FolderIndex i = 0; i < folders.size(); ++i) {
        // Parents come before their children; the top folder is its own parent.
        const bool isInOne = i != RecordStorage::topFolder && isBelow[folders[i].parent] != 0;
        isBelow[i] = isInOne || (i == RecordStorage::topFolder ? isTop : storage.hasPath(i, folder)) ? 1 : 0;
    }
    return isBelow;
}

struct Name {
    std::int64_t bytes;
    FileIdentity identity;
    std::uint32_t record;

    [[nodiscard]] bool isOfSameFile(const Name& other) const { return identity == other.identity; }
};

}  // namespace

std::optional<DuplicateCandidates> DuplicateCandidates::of(const RecordStorage& storage, const Text& folder,
                                                           std::int64_t smallestBytes,
                                                           const CancellationToken& cancellation) {
    const std::vector<char> isBelow = foldersBelow(storage, folder);
    std::vector<Name> found;
    for (std::size_t i = 0; i < storage.size(); ++i) {
        if (i % 65536 == 0 && cancellation.isCancelled()) return std::nullopt;
        const RecordStorage::Row& row = storage.row(i);
        if (row.kind() != FileKind::file || row.logicalBytes < smallestBytes || row.isCloudPlaceholder != 0) continue;
        const auto identity = storage.identityOf(row);
        if (!identity) continue;
        const bool isInFolder = row.isIrregular != 0
                                    ? folder.view() == "/" || Path::isBeneath(storage.path(row), folder)
                                    : isBelow[row.folder] != 0;
        if (isInFolder) found.push_back({row.logicalBytes, *identity, static_cast<std::uint32_t>(i)});
    }
    DuplicateCandidates candidates;
    candidates.looked = static_cast<std::int64_t>(found.size());
    std::ranges::sort(found, [](const Name& a, const Name& b) {
        return std::tuple{b.bytes, a.identity.device, a.identity.inode, a.record} <
               std::tuple{a.bytes, b.identity.device, b.identity.inode, b.record};
    });
    if (cancellation.isCancelled()) return std::nullopt;
    for (std::size_t begin = 0, end = 0; begin < found.size(); begin = end) {
        while (end < found.size() && found[end].bytes == found[begin].bytes) ++end;
        const std::size_t firstFile = candidates.files.size();
        const std::size_t firstName = candidates.names.size();
        for (std::size_t i = begin; i < end; ++i) {
            if (i == begin || !found[i].isOfSameFile(found[i - 1])) {
                candidates.files.push_back({.identity = found[i].identity,
                                            .bytes = found[i].bytes,
                                            .firstName = static_cast<std::uint32_t>(candidates.names.size()),
                                            .nameCount = 0});
            } else {
                ++candidates.linkNames;
            }
            candidates.names.push_back(found[i].record);
            ++candidates.files.back().nameCount;
        }
        if (candidates.files.size() - firstFile > 1) continue;
        candidates.files.resize(firstFile);
        candidates.names.resize(firstName);
    }
    return candidates;
}

}  // namespace KestrelCore
