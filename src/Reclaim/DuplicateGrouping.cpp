#include "Reclaim/DuplicateGrouping.hpp"

#include "KestrelCore/Base/Path.hpp"
#include "KestrelCore/Base/URL.hpp"
#include "KestrelCore/Deletion/SafetyPolicy.hpp"
#include "Model/PackageExtensions.hpp"
#include "Platform/ExtentSharing.hpp"

#include <algorithm>
#include <array>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>

namespace KestrelCore {

namespace {

/// The stores of version control: each repository needs its own, however many others have the same. Those of Git
/// without a working copy are called "something.git".
bool isRepositoryStore(std::string_view name) {
    constexpr std::array<std::string_view, 4> names{".hg", ".svn", ".bzr", ".jj"};
    return name.ends_with(".git") || std::ranges::find(names, name) != names.end();
}

bool isHexadecimal(std::string_view text) {
    return text.find_first_not_of("0123456789abcdef") == std::string_view::npos;
}

/// Whether it is what Git keeps in a store, whatever that is called: "objects/3b/" with the rest of an identifier, or a
/// pack.
bool isGitObject(std::string_view path) {
    const auto takeLast = [&] {
        const std::size_t slash = path.rfind('/');
        const std::string_view name = slash == std::string_view::npos ? path : path.substr(slash + 1);
        path = slash == std::string_view::npos ? std::string_view{} : path.substr(0, slash);
        return name;
    };
    const std::string_view name = takeLast();
    const std::string_view folder = takeLast();
    if (takeLast() != "objects") return false;
    const bool isLoose =
        folder.size() == 2 && isHexadecimal(folder) && isHexadecimal(name) && (name.size() == 38 || name.size() == 62);
    return isLoose || (folder == "pack" && name.starts_with("pack-"));
}

/// The innermost folder on the way to `path` that is worth nothing without all of its files; empty when there is none.
std::string_view wholeThing(std::string_view path) {
    for (std::size_t end = path.rfind('/'); end != std::string_view::npos && end > 0;) {
        const std::size_t begin = path.rfind('/', end - 1);
        if (begin == std::string_view::npos) break;
        const std::string_view name = path.substr(begin + 1, end - begin - 1);
        std::string extension;
        for (const char c : name.substr(std::min(Path::extensionOffset(name), name.size())))
            extension += c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
        if (isRepositoryStore(name) || isPackageExtension(extension)) return name;
        end = begin;
    }
    return {};
}

/// Whether it was thrown away: in the Trash of a home directory or of a volume.
bool isInTrash(std::string_view path) {
    return path.find("/Trash/files/") != std::string_view::npos || path.find("/.Trash") != std::string_view::npos;
}

int orderOf(DuplicateStanding standing) {
    return standing == DuplicateStanding::kept ? 0 : standing == DuplicateStanding::spare ? 1 : 2;
}

}  // namespace

std::optional<Text> DuplicateGrouping::protection(const Text& path) {
    if (auto reason = SafetyPolicy::blockedReason(URL::fromPath(path))) return reason;
    if (isInTrash(path.view())) return Text{"It lies in the Trash, and goes when that is emptied."};
    const std::string_view whole = wholeThing(path.view());
    if (whole.empty() && isGitObject(path.view()))
        return Text{"It is part of a Git repository, which needs all of its files."};
    // Its content would come back from there, but as a change that somebody has to notice first.
    if (whole.empty()) return tracked_.reasonToKeep(path);
    return Text::concatenating({"It is part of “", whole, "”, which needs all of its files."});
}

bool DuplicateGrouping::isInKeptFolder(const DuplicateFile& file) const {
    return options_.keptFolder && Path::isBeneath(file.path, *options_.keptFolder);
}

bool DuplicateGrouping::isKeptBefore(const DuplicateFile& a, const DuplicateFile& b) const {
    const bool isInFolderA = isInKeptFolder(a);
    const bool isInFolderB = isInKeptFolder(b);
    if (isInFolderA != isInFolderB) return isInFolderA;
    // What was thrown away is never kept for what was not.
    const bool isInTrashA = isInTrash(a.path.view());
    if (isInTrashA != isInTrash(b.path.view())) return !isInTrashA;
    // What has no date is taken last.
    if (a.modifiedAt != b.modifiedAt) {
        if (!a.modifiedAt || !b.modifiedAt) return a.modifiedAt.has_value();
        return options_.keeping == DuplicateKeeping::oldest ? *a.modifiedAt < *b.modifiedAt
                                                            : *b.modifiedAt < *a.modifiedAt;
    }
    return std::tuple{a.path.view().size(), a.path.view()} < std::tuple{b.path.view().size(), b.path.view()};
}

DuplicateReason DuplicateGrouping::reasonFor(const DuplicateFile& kept, const std::vector<DuplicateFile>& files) const {
    if (isInKeptFolder(kept)) return DuplicateReason::folder;
    const bool isAlone = std::ranges::none_of(files, [&](const DuplicateFile& file) {
        return file.identity != kept.identity && file.modifiedAt == kept.modifiedAt;
    });
    if (!isAlone) return DuplicateReason::path;
    return options_.keeping == DuplicateKeeping::oldest ? DuplicateReason::oldest : DuplicateReason::newest;
}

DuplicateGroup DuplicateGrouping::group(std::span<const std::uint32_t> files) {
    DuplicateGroup group{.bytes = candidates_.files[files.front()].bytes, .files = {}};
    for (const std::uint32_t number : files) {
        for (const std::uint32_t name : candidates_.namesOf(candidates_.files[number])) {
            const RecordStorage::Row& row = storage_.row(name);
            group.files.push_back(
                {.path = storage_.path(row),
                 .identity = candidates_.files[number].identity,
                 .modifiedAt = row.hasModified != 0 ? std::optional{Date{row.modifiedAt}} : std::nullopt,
                 .allocatedBytes = readings_[number].allocatedBytes,
                 .freedBytes = 0,
                 .standing = DuplicateStanding::spare,
                 .reason = {}});
        }
    }
    const auto kept = std::ranges::min_element(
        group.files, [this](const DuplicateFile& a, const DuplicateFile& b) { return isKeptBefore(a, b); });
    kept->standing = DuplicateStanding::kept;
    const FileIdentity keptIdentity = kept->identity;
    group.keptFor = reasonFor(*kept, group.files);

    std::size_t begin = 0;
    for (const std::uint32_t number : files) {
        const DuplicateReading& reading = readings_[number];
        const std::span names = std::span{group.files}.subspan(begin, candidates_.files[number].nameCount);
        begin += names.size();
        const bool isKeptFile = candidates_.files[number].identity == keptIdentity;
        bool goesWhole = reading.links == names.size();
        for (DuplicateFile& file : names) {
            if (file.standing == DuplicateStanding::kept) continue;
            if (isKeptFile) {
                file.standing = DuplicateStanding::sameFile;
            } else if (isInKeptFolder(file)) {
                file.standing = DuplicateStanding::inKeptFolder;
            } else {
                file.reason = protection(file.path);
                if (file.reason) file.standing = DuplicateStanding::isProtected;
            }
            goesWhole = goesWhole && file.standing == DuplicateStanding::spare;
        }
        if (isKeptFile) continue;
        if (reading.mayShareBlocks && canShareExtents() &&
            candidates_.files[number].identity.device == keptIdentity.device)
            group.shareableBytes += reading.ownBytes;
        if (goesWhole && reading.ownBytes > 0) {
            names.front().freedBytes = reading.ownBytes;
            group.reclaimableBytes += reading.ownBytes;
            continue;
        }
        // Nothing would come free, so nothing is offered to go.
        const DuplicateStanding standing = !goesWhole                    ? DuplicateStanding::namedElsewhere
                                           : reading.allocatedBytes == 0 ? DuplicateStanding::takesNoRoom
                                                                         : DuplicateStanding::sharesBlocks;
        for (DuplicateFile& file : names) {
            if (file.standing == DuplicateStanding::spare) file.standing = standing;
        }
    }
    std::ranges::sort(group.files, [](const DuplicateFile& a, const DuplicateFile& b) {
        return std::tuple{orderOf(a.standing), a.path.view()} < std::tuple{orderOf(b.standing), b.path.view()};
    });
    return group;
}

}  // namespace KestrelCore
