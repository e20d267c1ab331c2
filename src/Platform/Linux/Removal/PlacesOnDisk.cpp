#include "Platform/POSIX/Removal/PlacesOnDisk.hpp"

#include "KestrelCore/Base/FileIdentity.hpp"
#include "Platform/Linux/MountTable.hpp"
#include "Platform/POSIX/FileDescriptor.hpp"
#include "Platform/POSIX/StatusIdentity.hpp"
#include "Platform/POSIX/Walk/DirectoryEntries.hpp"
#include "Platform/POSIX/Walk/FolderOnMount.hpp"

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>
#include <unordered_map>
#include <utility>

// Whether a folder holds the home directory can't be read off two paths: bind mounts, links and layered file systems
// give one folder many. Two other things about a folder don't depend on the way to it.
//
// Its identity. A place is reached component by component, and every folder on the way (and every link, with the
// folders that lead to the link) is noted: an item that is one of them holds the place.
//
// Its spot: the file system, and the path from that file system's own top, which the mount table gives. It tells what
// identities can't, as the folders above the root of a bind mount are on no way to what is below it:
//
//     /data/homes is mounted at /view     home: /view/anna    spot of the home: 254:0 /data/homes/anna
//                                         item: /data         spot of the item: 254:0 /data           holds the home
//
// Where mounts lie on the way, the spots of their mount points count as well. A folder of an overlay has further spots,
// in the layers that it is made of.
//
// The ways to some fifty places share most of their folders, so each path is asked about once, in one call that tells
// identity and mount together. A folder that somebody exchanges in between is told as it was or as it is then, as with
// any lookup; what an item itself is, is asked at each item anew.

namespace KestrelCore {

namespace {

constexpr int mostLinks = 40;  // as many as the system follows
constexpr int mostLayers = 4;  // overlays on overlays

/// The components of a path, the last one first.
std::vector<std::string> reversedComponents(std::string_view path) {
    std::vector<std::string> components;
    for (std::size_t begin = 0; begin < path.size();) {
        const std::size_t end = std::min(path.find('/', begin), path.size());
        const std::string_view component = path.substr(begin, end - begin);
        if (!component.empty() && component != ".") components.emplace_back(component);
        begin = end + 1;
    }
    std::reverse(components.begin(), components.end());
    return components;
}

std::optional<std::string> linkTarget(int link) {
    // An empty path means the link that is open itself.
    std::string target(PATH_MAX, '\0');
    const ssize_t size = ::readlinkat(link, "", target.data(), target.size());
    if (size <= 0) return std::nullopt;
    target.resize(static_cast<std::size_t>(size));
    return target;
}

/// Opens the item at a path without links component by component, so that the path may be longer than a call takes.
FileDescriptor openedStepwise(std::string_view path) {
    constexpr int flags = O_PATH | O_NOFOLLOW | O_CLOEXEC;
    FileDescriptor at{::open("/", flags)};
    std::vector<std::string> ahead = reversedComponents(path);
    for (; at.isOpen() && !ahead.empty(); ahead.pop_back())
        at = FileDescriptor{::openat(at.get(), ahead.back().c_str(), flags)};
    return at;
}

/// What stands at a path.
struct Sight {
    FileIdentity identity;
    std::optional<std::uint64_t> mount;
    bool isLink = false;
};

/// Nothing when nothing is there, or nothing that this process may see.
std::optional<Sight> look(const std::string& path) {
#ifdef STATX_MNT_ID
    struct statx found {};
    constexpr int flags = AT_SYMLINK_NOFOLLOW | AT_NO_AUTOMOUNT;
    if (::statx(AT_FDCWD, path.c_str(), flags, STATX_TYPE | STATX_INO | STATX_MNT_ID, &found) == 0) {
        if ((found.stx_mask & STATX_MNT_ID) != 0)
            return Sight{{makedev(found.stx_dev_major, found.stx_dev_minor), found.stx_ino},
                         found.stx_mnt_id,
                         S_ISLNK(found.stx_mode)};
    } else if (errno == ENOENT || errno == ENOTDIR) {
        return std::nullopt;
    }
#endif
    const FileDescriptor opened = openedStepwise(path);
    struct stat status {};
    if (!opened.isOpen() || ::fstat(opened.get(), &status) != 0) return std::nullopt;
    return Sight{identityOf(status), mountIdentifier(opened.get()), S_ISLNK(status.st_mode)};
}

/// One folder on the way to a place.
struct Step {
    FileIdentity identity;
    std::optional<std::uint64_t> mount;
    std::string path;  ///< without links; "" for "/"
};

/// The layers of an overlay as its options name them: "lowerdir=/a:/b,upperdir=/c", newer kernels "lowerdir+=/a".
std::vector<std::string> layersOf(const Mount& mount, bool isForWriting) {
    std::vector<std::string> layers;
    if (mount.type != "overlay") return layers;
    for (std::string_view rest = mount.options; !rest.empty();) {
        const std::string_view option = rest.substr(0, rest.find(','));
        rest.remove_prefix(std::min(option.size() + 1, rest.size()));
        const std::size_t sign = option.find('=');
        if (sign == std::string_view::npos) continue;
        const std::string_view key = option.substr(0, sign);
        const std::string value = MountTable::unescaped(option.substr(sign + 1));
        if (key == "upperdir" || (!isForWriting && (key == "lowerdir+" || key == "datadir+"))) {
            layers.push_back(value);
        } else if (key == "lowerdir" && !isForWriting) {
            std::string layer;
            for (std::size_t i = 0; i <= value.size(); ++i) {
                if (i == value.size() || value[i] == ':') {
                    if (!layer.empty()) layers.push_back(std::exchange(layer, {}));
                } else {
                    if (value[i] == '\\' && i + 1 < value.size()) ++i;
                    layer += value[i];
                }
            }
        }
    }
    std::erase_if(layers, [](const std::string& layer) { return !layer.starts_with('/'); });
    return layers;
}

/// What is left of a path below a folder on the way to it: "/b" of "/a/b" below "/a". Empty text for the folder itself,
/// nothing when the path does not lie there.
std::optional<std::string_view> below(std::string_view path, std::string_view folder) {
    if (folder == "/") folder = {};
    if (!path.starts_with(folder)) return std::nullopt;
    path.remove_prefix(folder.size());
    if (!path.empty() && path.front() != '/') return std::nullopt;
    return path;
}

/// Whether a trash stands at the top of a volume whose top is the folder `path`.
bool holdsTrashFolder(const std::string& path) {
    const FileDescriptor folder{::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK)};
    if (!folder.isOpen()) return false;
    DirectoryEntries listing;
    while (listing.readPiece(folder.get())) {
        while (const ListedEntry* entry = listing.next()) {
            if (!isVolumeTrashName(entry->name)) continue;
            const auto status = statusIn(folder.get(), std::string{entry->name});
            if (status && S_ISDIR(status->st_mode)) return true;
        }
    }
    return false;
}

}  // namespace

class PlacesOnDisk::State {
public:
    explicit State(std::vector<GuardedPlace> places);

    [[nodiscard]] std::optional<Relation> relation(const ItemLocation& item) const;
    [[nodiscard]] std::optional<Standing> standingToVolumeTrash(const ItemLocation& item) const;
    [[nodiscard]] const std::optional<MountTable>& mounts() const { return table_; }

private:
    class Lookup;
    /// A folder or file by its place in its file system, whatever mounts show it.
    struct Spot {
        std::string device;
        std::string path;  ///< from the file system's own top; "" for the top itself
    };
    struct Found {
        GuardedPlace place;
        std::optional<FileIdentity> identity;  ///< absent while nothing is there
        std::vector<FileIdentity> ways;        ///< of all folders and links that lead there, and of the place itself
        std::vector<Spot> spots;               ///< of the place, and of the mounts and links on the way
        std::vector<Spot> ownSpots;            ///< of the place alone
    };
    void follow(Lookup& lookup, Found& found, std::string_view path, int depth) const;
    void followLayers(Lookup& lookup, Found& found, const Mount& mount, std::string_view rest, int depth) const;
    [[nodiscard]] std::optional<Spot> spot(std::optional<std::uint64_t> mount, std::string_view path) const;
    [[nodiscard]] std::optional<std::vector<Spot>> itemSpots(const ItemLocation& item) const;
    [[nodiscard]] std::optional<Relation> relation(const ItemLocation& item, const std::vector<Spot>& spots) const;

    std::vector<GuardedPlace> places_;
    std::optional<MountTable> table_;
    std::vector<Found> found_;  ///< one for each place
};

/// What one lookup of all places has seen so far.
class PlacesOnDisk::State::Lookup {
public:
    /// What stands at `path`, which leads through no link.
    const std::optional<Sight>& at(const std::string& path) {
        const auto [entry, isNew] = sights_.try_emplace(path);
        if (isNew) entry->second = look(path);
        return entry->second;
    }
    /// Whether a layer of an overlay is a folder here.
    bool isFolder(const std::string& layer) {
        const auto [entry, isNew] = layers_.try_emplace(layer);
        struct stat status {};
        if (isNew) entry->second = ::stat(layer.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
        return entry->second;
    }

private:
    std::unordered_map<std::string, std::optional<Sight>> sights_;
    std::unordered_map<std::string, bool> layers_;
};

PlacesOnDisk::State::State(std::vector<GuardedPlace> places)
    : places_{std::move(places)}, table_{MountTable::current()} {
    Lookup lookup;
    for (const GuardedPlace& place : places_) {
        Found found{.place = place, .identity = {}, .ways = {}, .spots = {}, .ownSpots = {}};
        follow(lookup, found, place.path, 0);
        if (place.isOnlyIfThere && !found.identity)
            found = {.place = place, .identity = {}, .ways = {}, .spots = {}, .ownSpots = {}};
        found_.push_back(std::move(found));
    }
}

/// Goes the way to `path` as the system does, and notes what it meets.
void PlacesOnDisk::State::follow(Lookup& lookup, Found& found, std::string_view path, int depth) const {
    const auto root = lookup.at("/");
    if (!path.starts_with('/') || !root) return;
    std::vector<Step> steps{{root->identity, root->mount, ""}};
    const auto noteSpot = [&](const std::optional<Spot>& spot) {
        if (spot) found.spots.push_back(*spot);
    };
    const auto noteSteps = [&] {
        for (std::size_t i = 0; i < steps.size(); ++i) {
            found.ways.push_back(steps[i].identity);
            if (i > 0 && steps[i].mount != steps[i - 1].mount) noteSpot(spot(steps[i - 1].mount, steps[i].path));
        }
    };

    std::vector<std::string> ahead = reversedComponents(path);
    bool isThere = true;
    for (int links = 0; !ahead.empty();) {
        const std::string name = ahead.back();
        if (name == "..") {
            ahead.pop_back();
            // The way behind has no links in it, so that the folder above is the one it came through.
            if (steps.size() > 1) steps.pop_back();
            continue;
        }
        const std::string next = steps.back().path + "/" + name;
        const std::optional<Sight>& sight = lookup.at(next);
        isThere = sight.has_value();
        if (!isThere) break;
        ahead.pop_back();
        if (sight->isLink) {
            // Whoever takes the link, or a folder above it, takes the way to the place.
            noteSteps();
            found.ways.push_back(sight->identity);
            noteSpot(spot(steps.back().mount, next));
            const auto target = linkTarget(openedStepwise(next).get());
            if (!target || ++links > mostLinks) return;
            if (target->starts_with('/')) steps.resize(1);
            for (std::string& component : reversedComponents(*target)) ahead.push_back(std::move(component));
            continue;
        }
        steps.push_back({sight->identity, sight->mount, next});
    }
    noteSteps();
    if (isThere && depth == 0) found.identity = steps.back().identity;

    // What is not there yet has a spot already, below the last folder that is.
    std::string end = steps.back().path;
    for (; !ahead.empty(); ahead.pop_back()) {
        if (ahead.back() == "..") return;
        end.append("/").append(ahead.back());
    }
    if (const auto own = spot(steps.back().mount, end)) {
        found.spots.push_back(*own);
        found.ownSpots.push_back(*own);
    }
    const Mount* mount = table_ && steps.back().mount ? table_->find(*steps.back().mount) : nullptr;
    if (mount != nullptr && depth < mostLayers) {
        if (const auto rest = below(end, mount->point)) followLayers(lookup, found, *mount, *rest, depth + 1);
    }
}

void PlacesOnDisk::State::followLayers(Lookup& lookup, Found& found, const Mount& mount, std::string_view rest,
                                       int depth) const {
    for (const std::string& layer : layersOf(mount, false)) {
        // A layer that another root of the system knows by this name may be anything here.
        if (!lookup.isFolder(layer)) continue;
        const std::string root = mount.root == "/" ? std::string{} : mount.root;
        follow(lookup, found, layer + root + std::string{rest}, depth);
    }
}

std::optional<PlacesOnDisk::State::Spot> PlacesOnDisk::State::spot(std::optional<std::uint64_t> mount,
                                                                   std::string_view path) const {
    const Mount* found = mount && table_ ? table_->find(*mount) : nullptr;
    if (found == nullptr) return std::nullopt;
    const auto rest = below(path, found->point);
    if (!rest) return std::nullopt;
    return Spot{found->device, (found->root == "/" ? std::string{} : found->root) + std::string{*rest}};
}

/// The spots of the item. Nothing when it lies on a mount that the table does not have: one made since.
std::optional<std::vector<PlacesOnDisk::State::Spot>> PlacesOnDisk::State::itemSpots(const ItemLocation& item) const {
    std::vector<Spot> spots;
    if (!table_) return spots;
    const FileDescriptor opened{::openat(item.folder.get(), item.name.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC)};
    if (!opened.isOpen()) return spots;
    const auto mount = mountIdentifier(opened.get());
    const auto own = spot(mount, item.path);
    if (!own) return std::nullopt;
    spots.push_back(*own);
    // What is removed from an overlay is removed from its uppermost layer.
    const Mount* entry = table_->find(*mount);
    for (const std::string& layer : layersOf(*entry, true)) {
        const FileDescriptor upper{::open(layer.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC)};
        if (!upper.isOpen()) continue;
        std::array<char, PATH_MAX> resolved{};
        if (::realpath(layer.c_str(), resolved.data()) == nullptr) continue;
        if (auto inLayer = spot(mountIdentifier(upper.get()), resolved.data())) {
            inLayer->path += own->path;
            spots.push_back(std::move(*inLayer));
        }
    }
    return spots;
}

std::optional<PlacesOnDisk::Relation> PlacesOnDisk::State::relation(const ItemLocation& item) const {
    if (const auto spots = itemSpots(item)) return relation(item, *spots);
    const State now{places_};
    return now.relation(item, now.itemSpots(item).value_or(std::vector<Spot>{}));
}

std::optional<PlacesOnDisk::Relation> PlacesOnDisk::State::relation(const ItemLocation& item,
                                                                    const std::vector<Spot>& spots) const {
    const auto status = statusIn(item.folder.get(), item.name);
    if (!status) return std::nullopt;
    const FileIdentity identity = identityOf(*status);
    const auto isBelowOneOf = [](const Spot& inner, const std::vector<Spot>& outer) {
        return std::any_of(outer.begin(), outer.end(), [&](const Spot& spot) {
            return spot.device == inner.device && below(inner.path, spot.path).has_value();
        });
    };
    for (std::size_t place = 0; place < found_.size(); ++place) {
        const Found& found = found_[place];
        if (identity == found.identity) return Relation{place, Standing::is};
        const bool isOnTheWay = std::find(found.ways.begin(), found.ways.end(), identity) != found.ways.end();
        if (isOnTheWay || std::any_of(found.spots.begin(), found.spots.end(),
                                      [&](const Spot& spot) { return isBelowOneOf(spot, spots); }))
            return Relation{place, Standing::holds};
        if (!found.place.withContent) continue;
        const bool isWithin = (found.identity && std::find(item.ancestors.begin(), item.ancestors.end(),
                                                           *found.identity) != item.ancestors.end()) ||
                              std::any_of(spots.begin(), spots.end(),
                                          [&](const Spot& spot) { return isBelowOneOf(spot, found.ownSpots); });
        if (isWithin) return Relation{place, Standing::within};
    }
    return std::nullopt;
}

std::optional<PlacesOnDisk::Standing> PlacesOnDisk::State::standingToVolumeTrash(const ItemLocation& item) const {
    if (item.isInTrash) return Standing::within;
    const auto status = statusIn(item.folder.get(), item.name);
    const auto spots = itemSpots(item);
    if (!status || !spots) return std::nullopt;
    for (const Spot& spot : *spots) {
        for (const Mount& mount : table_->mounts) {
            if (mount.device != spot.device) continue;
            if (const auto inVolume = below(spot.path, mount.root); inVolume && !inVolume->empty()) {
                const std::string_view top = inVolume->substr(1, inVolume->find('/', 1) - 1);
                const bool isTopItself = top.size() + 1 == inVolume->size();
                if (isVolumeTrashName(top) && (!isTopItself || S_ISDIR(status->st_mode))) return Standing::within;
            }
            if (const auto volume = below(mount.root, spot.path);
                volume && S_ISDIR(status->st_mode) && holdsTrashFolder(item.path + std::string{*volume}))
                return Standing::holds;
        }
    }
    return std::nullopt;
}

PlacesOnDisk::PlacesOnDisk(std::vector<GuardedPlace> places)
    : state_{std::make_unique<const State>(std::move(places))} {}
PlacesOnDisk::PlacesOnDisk(PlacesOnDisk&&) noexcept = default;
PlacesOnDisk& PlacesOnDisk::operator=(PlacesOnDisk&&) noexcept = default;
PlacesOnDisk::~PlacesOnDisk() = default;

std::optional<PlacesOnDisk::Relation> PlacesOnDisk::relation(const ItemLocation& item) const {
    return state_->relation(item);
}

std::optional<PlacesOnDisk::Standing> PlacesOnDisk::standingToVolumeTrash(const ItemLocation& item) const {
    return state_->standingToVolumeTrash(item);
}

std::optional<Text> PlacesOnDisk::mountSentence(std::string_view place) const {
    const auto& mounts = state_->mounts();
    return KestrelCore::mountSentence(mounts ? std::optional{mounts->hasMountAtOrBelow(place)} : std::nullopt);
}

}  // namespace KestrelCore
