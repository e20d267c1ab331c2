#include "support/FakeFileManager.hpp"

#include "Base/FileManagerErrors.hpp"

#include <algorithm>
#include <cerrno>
#include <sys/stat.h>
#include <utility>

namespace KestrelCore {
namespace {

constexpr std::uint64_t fakeDevice = 42;
constexpr int mostLinks = 32;

Text parentOf(const Text& path) { return Path::deletingLastComponent(path); }

}  // namespace

FakeFileManager::FakeFileManager(const Text& home) : home_{home} {
    nodes_["/"] = Node{.type = Type::folder, .inode = lastInode_, .target = {}};
    addFolder(home);
}

void FakeFileManager::add(const Text& path, Node node) {
    if (path != "/" && nodes_.find(parentOf(path)) == nodes_.end()) addFolder(parentOf(path));
    node.inode = ++lastInode_;
    nodes_[path] = std::move(node);
}

void FakeFileManager::addFolder(const Text& path) {
    if (nodes_.find(path) == nodes_.end()) add(path, Node{.type = Type::folder, .target = {}});
}

void FakeFileManager::addFile(const Text& path, std::int64_t allocatedBytes) {
    add(path, Node{.type = Type::file, .allocatedBytes = allocatedBytes, .target = {}});
}

void FakeFileManager::addLink(const Text& path, const Text& target) {
    add(path, Node{.type = Type::link, .target = target});
}

void FakeFileManager::addHardLink(const Text& path, const Text& file) {
    const Node node = nodes_.at(file);
    add(path, node);
    nodes_.at(path).inode = node.inode;
}

void FakeFileManager::erase(const Text& path) {
    std::erase_if(nodes_,
                  [&path](const auto& entry) { return entry.first == path || Path::isBeneath(entry.first, path); });
}

void FakeFileManager::fail(Operation operation, const Text& path, int errorNumber, int count) {
    faults_.push_back({operation, path, errorNumber, count});
}

void FakeFileManager::vanishAfterListing(const Text& path) { vanishing_.push_back(path); }

void FakeFileManager::denyReading(const Text& path) { nodes_.at(path).isReadable = false; }

void FakeFileManager::denyWriting(const Text& path) { nodes_.at(path).isWritable = false; }

std::optional<ExpectedItem> FakeFileManager::identity(const Text& path) const {
    const auto place = resolved(path, false);
    const Node* node = place ? find(*place) : nullptr;
    if (node == nullptr) return std::nullopt;
    const std::uint32_t type = node->type == Type::folder ? S_IFDIR : node->type == Type::file ? S_IFREG : S_IFLNK;
    return ExpectedItem{.device = fakeDevice, .inode = node->inode, .fileTypeBits = type};
}

const FakeFileManager::Node* FakeFileManager::find(const Text& path) const {
    const auto found = nodes_.find(path);
    return found == nodes_.end() ? nullptr : &found->second;
}

std::optional<Text> FakeFileManager::resolved(const Text& path, bool followsLast, int depth) const {
    if (depth > mostLinks || !path.view().starts_with('/')) return std::nullopt;
    const std::vector<Text> components = Path::components(path);
    Text place = "/";
    for (std::size_t i = 1; i < components.size(); ++i) {
        place = Path::appending(place, components[i]);
        const Node* node = find(place);
        if (node == nullptr) return std::nullopt;
        const bool isLast = i + 1 == components.size();
        if (node->type != Type::link || (isLast && !followsLast)) continue;
        const bool isAbsolute = node->target.view().starts_with('/');
        const Text target =
            Path::standardized(isAbsolute ? node->target : Path::appending(parentOf(place), node->target));
        const auto followed = resolved(target, true, depth + 1);
        if (!followed) return std::nullopt;
        place = *followed;
    }
    return place;
}

std::vector<Text> FakeFileManager::childNames(const Text& folder) const {
    std::vector<Text> names;
    for (const auto& [path, node] : nodes_) {
        if (path != "/" && parentOf(path) == folder) names.push_back(Path::lastComponent(path));
    }
    return names;
}

int FakeFileManager::injectedError(Operation operation, const Text& path) const {
    for (Fault& fault : faults_) {
        if (fault.operation != operation || fault.path != path || fault.remaining == 0) continue;
        if (fault.remaining > 0) --fault.remaining;
        return fault.errorNumber;
    }
    return 0;
}

bool FakeFileManager::isReadable(const Text& path) const {
    const auto place = resolved(path, true);
    return place && find(*place)->isReadable;
}

bool FakeFileManager::exists(const Text& path) const { return resolved(path, true).has_value(); }

std::vector<Text> FakeFileManager::contentsOfDirectory(const Text& path) const {
    const auto place = resolved(path, true);
    int error = injectedError(Operation::list, path);
    if (error == 0 && !place) error = ENOENT;
    if (error == 0 && find(*place)->type != Type::folder) error = ENOTDIR;
    if (error == 0 && !find(*place)->isReadable) error = EACCES;
    if (error != 0) throw fileManagerError(FileOperation::list, path, error);
    std::vector<Text> names = childNames(*place);
    for (const Text& vanished : std::exchange(vanishing_, {})) {
        if (parentOf(vanished) == *place)
            std::erase_if(nodes_, [&vanished](const auto& entry) {
                return entry.first == vanished || Path::isBeneath(entry.first, vanished);
            });
        else
            vanishing_.push_back(vanished);
    }
    return names;
}

std::vector<URL> FakeFileManager::contentsOfDirectory(const URL& url, bool skipsHidden) const {
    // The kinds are looked up first: what vanishes after the listing was still listed as what it was.
    std::map<Text, bool> folders;
    if (const auto place = resolved(url.path(), true)) {
        for (const Text& name : childNames(*place))
            folders[name] = find(Path::appending(*place, name))->type == Type::folder;
    }
    std::vector<URL> contents;
    for (const Text& name : contentsOfDirectory(url.path())) {
        if (skipsHidden && name.view().starts_with('.')) continue;
        contents.push_back(url.appending(name, folders[name]));
    }
    return contents;
}

bool FakeFileManager::enumerate(const URL& url,
                                const std::function<bool(const URL&, std::optional<std::int64_t>)>& visit) const {
    if (injectedError(Operation::enumerate, url.path()) != 0) return false;
    const auto place = resolved(url.path(), false);
    bool goesOn = true;
    std::set<std::uint64_t> seen;
    if (place && find(*place)->type == Type::folder) visitBelow(*place, visit, seen, goesOn);
    return true;
}

void FakeFileManager::visitBelow(const Text& folder,
                                 const std::function<bool(const URL&, std::optional<std::int64_t>)>& visit,
                                 std::set<std::uint64_t>& seen, bool& goesOn) const {
    if (!find(folder)->isReadable) return;
    for (const Text& name : childNames(folder)) {
        const Text path = Path::appending(folder, name);
        const Node* node = find(path);
        const bool isFolder = node->type == Type::folder;
        std::optional<std::int64_t> bytes;
        if (!isFolder && injectedError(Operation::measure, path) == 0)
            bytes = seen.insert(node->inode).second ? node->allocatedBytes : 0;
        goesOn = visit(URL::fromPath(path, isFolder), bytes);
        if (goesOn && isFolder) visitBelow(path, visit, seen, goesOn);
        if (!goesOn) return;
    }
}

std::optional<std::int64_t> FakeFileManager::allocatedBytes(const URL& url) const {
    const auto place = resolved(url.path(), false);
    if (!place || injectedError(Operation::measure, url.path()) != 0) return std::nullopt;
    const Node* node = find(*place);
    if (node->type == Type::folder) return std::nullopt;
    return node->allocatedBytes;
}

void FakeFileManager::createDirectory(const URL& url) {
    const std::vector<Text> components = Path::components(url.path());
    Text path = "/";
    for (std::size_t i = 1; i < components.size(); ++i) {
        const auto folder = resolved(path, true);
        path = Path::appending(path, components[i]);
        int error = injectedError(Operation::createDirectory, path);
        const auto place = resolved(path, true);
        const bool isLast = i + 1 == components.size();
        if (error == 0 && place) {
            if (find(*place)->type == Type::folder) continue;
            error = isLast ? EEXIST : ENOTDIR;
            if (!isLast) path = Path::appending(path, components[i + 1]);
        }
        if (error == 0 && find(Path::appending(*folder, components[i])) != nullptr) error = EEXIST;  // a dangling link
        if (error == 0 && !find(*folder)->isWritable) error = EACCES;
        if (error == 0 && isDiskFull_) error = ENOSPC;
        if (error != 0) throw fileManagerError(FileOperation::createDirectory, path, error, "Fake");
        addFolder(Path::appending(*folder, components[i]));
    }
}

void FakeFileManager::checkExpected(const Text& path, const std::optional<ExpectedItem>& expected) const {
    if (!expected) return;
    ExpectedItem actual = identity(path).value_or(ExpectedItem{});
    if (expected->fileTypeBits == 0) actual.fileTypeBits = 0;
    if (actual != *expected)
        throw PlatformError{PlatformError::Domain::fileManager, PlatformError::fileWriteUnknown,
                            "The item changed since the scan. Scan again before deleting it."};
}

int FakeFileManager::errorForTakingAway(const Text& path) const {
    const auto place = resolved(path, false);
    if (!place) return ENOENT;
    return find(parentOf(*place))->isWritable ? 0 : EACCES;
}

std::optional<URL> FakeFileManager::trashItem(const URL& url, const std::optional<ExpectedItem>& expected,
                                              const CancellationToken& cancellation) {
    const Text path = url.path();
    int error = injectedError(Operation::trash, path);
    if (error == 0) error = errorForTakingAway(path);
    if (error == 0 && cancellation.isCancelled()) error = ECANCELED;
    if (error != 0) throw fileManagerError(FileOperation::trash, path, error);
    checkExpected(path, expected);
    const Text from = *resolved(path, false);
    const Text trash = Path::appending(home_, ".Trash");
    addFolder(trash);
    Text to = Path::appending(trash, Path::lastComponent(from));
    for (int number = 2; nodes_.find(to) != nodes_.end(); ++number) {
        to = Path::appending(trash,
                             Text::concatenating({Path::lastComponent(from).view(), " ", std::to_string(number)}));
    }
    std::map<Text, Node> moved;
    for (const auto& [oldPath, node] : nodes_) {
        if (oldPath == from || Path::isBeneath(oldPath, from))
            moved.emplace(Text::concatenating({to.view(), oldPath.view().substr(from.byteCount())}), node);
    }
    const bool isFolder = find(from)->type == Type::folder;
    erase(from);
    nodes_.merge(moved);
    return URL::fromPath(to, isFolder);
}

std::optional<Text> FakeFileManager::removeItem(const URL& url, const std::optional<ExpectedItem>& expected,
                                                const CancellationToken& cancellation) {
    const Text path = url.path();
    int error = injectedError(Operation::remove, path);
    if (error == 0) error = errorForTakingAway(path);
    if (error == 0 && cancellation.isCancelled()) error = ECANCELED;
    if (error != 0) throw fileManagerError(FileOperation::remove, path, error);
    checkExpected(path, expected);
    erase(*resolved(path, false));
    return std::nullopt;
}

}  // namespace KestrelCore
