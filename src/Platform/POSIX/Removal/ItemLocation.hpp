#pragma once

#include "Base/FileManagerErrors.hpp"
#include "KestrelCore/Base/FileIdentity.hpp"
#include "KestrelCore/Base/URL.hpp"
#include "KestrelCore/Platform/FileManager.hpp"
#include "Platform/POSIX/FileDescriptor.hpp"
#include "Platform/POSIX/Removal/ItemCalls.hpp"
#include "Platform/POSIX/Removal/MountsNow.hpp"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <sys/stat.h>
#include <vector>

namespace KestrelCore {

/// An item by its open folder and its name in it. The folder was reached from "/" component by component, never through
/// a link.
struct ItemLocation {
    std::string path;                     ///< raw, absolute
    std::string name;                     ///< its last component
    FileDescriptor folder;                ///< the folder that holds it; for use in relative calls only
    std::vector<FileIdentity> ancestors;  ///< of the folders from "/" down to `folder`
    std::string volumePath;               ///< where the mount begins on which `folder` lies
    FileDescriptor volume;                ///< the folder there
    bool isInTrash = false;               ///< lies in a trash at the top of a volume, or is one

    /// The same as texts for messages.
    [[nodiscard]] Text text() const { return Text{path}; }
};

/// Reaches the item that `url` names. Throws the file manager's error of `operation`: for a path that is not absolute,
/// has "." or ".." in it, is "/", or leads through something that is no folder.
[[nodiscard]] ItemLocation locateItem(const URL& url, FileOperation operation);

/// The item as something to compare with.
[[nodiscard]] ExpectedItem asExpected(const struct stat& status);
/// Whether it still is what was expected; a missing expectation, or missing type bits, match anything.
[[nodiscard]] bool matches(const struct stat& status, const std::optional<ExpectedItem>& expected);

// The failures that no errno value tells. All are of the file manager's domain.
[[nodiscard]] PlatformError changedItemError();
[[nodiscard]] PlatformError protectedTrashError();
[[nodiscard]] PlatformError mountedItemError(const ItemLocation& item, FileOperation operation);
/// `error` with another sentence behind its own.
[[nodiscard]] PlatformError withSentence(const PlatformError& error, const Text& sentence);
/// The error of `operation` for an errno value; where the sentence does not tell the reason, the reason follows.
[[nodiscard]] PlatformError itemError(FileOperation operation, const ItemLocation& item, int errorNumber);

/// Why an item is not to be taken away when that is what is known about mounts on it or below: there is one, or the
/// system does not tell. A finished sentence; empty when there is none.
[[nodiscard]] std::optional<Text> mountSentence(std::optional<bool> isAnyMounted);
/// The refusal of an item that now stands at `place`, for that reason.
[[nodiscard]] std::optional<PlatformError> mountRefusal(const ItemLocation& item, std::string_view place,
                                                        FileOperation operation);
/// Throws that for the place where the item was found, by the mounts of this moment.
void refuseMounts(const ItemLocation& item, FileOperation operation);
/// The same for who asks about many items.
void refuseMounts(const ItemLocation& item, FileOperation operation, MountsNow& mounts);

}  // namespace KestrelCore
