#include "Reclaim/TrackedFiles.hpp"

#include "Platform/FileStatus.hpp"
#include "Platform/SmallFile.hpp"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <utility>

namespace KestrelCore {

namespace {

/// Some millions of entries.
constexpr std::size_t mostIndexBytes = std::size_t{512} << 20;
constexpr std::size_t mostPointerBytes = std::size_t{64} << 10;

/// Only what is certainly not there is not there.
bool isAbsent(const std::string& path) {
    const FileStatusResult result = fileStatus(path);
    return !result.status && (result.errorNumber == ENOENT || result.errorNumber == ENOTDIR);
}

std::string beneath(const std::string& folder, std::string_view name) {
    std::string path = folder;
    if (!path.ends_with('/')) path += '/';
    return path += name;
}

/// Of an absolute path other than "/".
std::string folderAbove(const std::string& path) {
    const std::size_t slash = path.rfind('/');
    return slash == 0 || slash == std::string::npos ? "/" : path.substr(0, slash);
}

}  // namespace

bool TrackedFiles::WorkingCopy::tracks(std::string_view path) const {
    return std::ranges::any_of(indexes, [&](const GitIndex& index) { return index.tracks(path); });
}

std::optional<Text> TrackedFiles::reasonToKeep(const Text& path) {
    const std::string whole = path.string();
    // All the way up: a repository further out may track what lies in one further in.
    for (const Folder* each = nearest(folderAbove(whole)); each != nullptr; each = each->outer) {
        const WorkingCopy& copy = *each->copy;
        if (!copy.isGit) return Text{whole + " lies in the working copy " + copy.folder + ", which may keep it."};
        if (!copy.isKnown)
            return Text{whole + " lies in the repository " + copy.folder + ", and what that tracks can’t be read."};
        const std::size_t top = copy.folder == "/" ? 1 : copy.folder.size() + 1;
        if (copy.tracks(std::string_view{whole}.substr(top)))
            return Text{whole + " is tracked by the repository " + copy.folder + ", or holds what is."};
    }
    return std::nullopt;
}

const TrackedFiles::Folder* TrackedFiles::nearest(const std::string& folder) {
    auto known = known_.find(folder);
    if (known == known_.end()) {
        auto made = std::make_unique<Folder>();
        if (folder != "/") made->outer = nearest(folderAbove(folder));
        made->copy = look(folder);
        known = known_.emplace(folder, std::move(made)).first;
    }
    const Folder& found = *known->second;
    return found.copy ? &found : found.outer;
}

std::unique_ptr<TrackedFiles::WorkingCopy> TrackedFiles::look(const std::string& folder) {
    const auto has = [&](std::string_view name) { return !isAbsent(beneath(folder, name)); };
    const bool isGit = has(".git");
    const bool isOther = has(".jj") || (!isGit && (has(".hg") || has(".svn")));
    if (!isGit && !isOther) return nullptr;
    auto copy = std::make_unique<WorkingCopy>();
    copy->folder = folder;
    // Where Jujutsu has one together with Git, the index is behind what it keeps.
    copy->isGit = isGit && !isOther;
    if (copy->isGit) readGit(*copy);
    return copy;
}

void TrackedFiles::readGit(WorkingCopy& copy) {
    std::string store = beneath(copy.folder, ".git");
    if (!isFolder(Text{store})) {
        // Of a submodule or a further working copy: a file that says where.
        constexpr std::string_view label = "gitdir: ";
        auto pointer = readSmallFile(Text{store}, mostPointerBytes, FinalLink::followed);
        if (!pointer || !pointer->starts_with(label)) return;
        pointer->erase(0, label.size());
        while (pointer->ends_with('\n') || pointer->ends_with('\r')) pointer->pop_back();
        store = pointer->starts_with('/') ? *pointer : beneath(copy.folder, *pointer);
    }
    readIndex(copy, store);
}

void TrackedFiles::readIndex(WorkingCopy& copy, const std::string& store) {
    // One that nothing was ever added to has none.
    std::string name = "index";
    if (isAbsent(beneath(store, name))) {
        copy.isKnown = isFolder(Text{store});
        return;
    }
    // The second of a split one is never split.
    for (int part = 0; part < 2 && !name.empty(); ++part) {
        const auto bytes = readSmallFile(Text{beneath(store, name)}, mostIndexBytes, FinalLink::followed);
        auto index = bytes ? GitIndex::of(*bytes) : std::nullopt;
        if (!index) return;
        name = index->sharedName();
        copy.indexes.push_back(std::move(*index));
    }
    copy.isKnown = name.empty();
}

}  // namespace KestrelCore
