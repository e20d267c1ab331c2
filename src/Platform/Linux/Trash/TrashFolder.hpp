#pragma once

#include "Platform/POSIX/FileDescriptor.hpp"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace KestrelCore {

/// A trash folder of this user, opened without following a link in it. What is there belongs to the user and may be
/// written by nobody else.
struct TrashFolder {
    std::string path;        ///< raw, absolute
    std::string volumePath;  ///< the top of its volume; empty for the home trash, whose paths are absolute
    FileDescriptor folder;
    FileDescriptor info;
    FileDescriptor files;

    enum class Creation { ifMissing, never };
    /// The trash below the home directory. With `device`, only if it lies on that device, or would. 0 or the errno
    /// value of what failed in `errorNumber`; ENOENT when it is not usable.
    [[nodiscard]] static std::optional<TrashFolder> openHome(Creation creation, std::optional<std::uint64_t> device,
                                                             int& errorNumber);
    /// `.Trash/UID` at the top of a volume, which its administrator prepared: sticky and no link.
    [[nodiscard]] static std::optional<TrashFolder> openShared(int volume, const std::string& volumePath,
                                                               Creation creation, int& errorNumber);
    /// `.Trash-UID` at the top of a volume.
    [[nodiscard]] static std::optional<TrashFolder> openOwn(int volume, const std::string& volumePath,
                                                            Creation creation, int& errorNumber);

    /// What an info file in this trash calls the item at `absolutePath`.
    [[nodiscard]] std::string infoPath(std::string_view absolutePath) const;

    /// Writes the info file of `name`, synced. 0, or the errno value; nothing is left behind then. Never replaces one.
    [[nodiscard]] int writeInfo(const std::string& name, const std::string& text) const;
    /// The text of the info file of `name`; empty when there is none that can be read, or an absurdly long one.
    [[nodiscard]] std::optional<std::string> readInfo(const std::string& name) const;
    void removeInfo(const std::string& name) const;

    /// Notes the size of the folder `name` in "directorysizes", or with no size takes the note away. A cache that any
    /// tool can build anew: failures are nothing to stop for.
    void noteSize(const std::string& name, std::optional<std::uint64_t> bytes) const;
};

}  // namespace KestrelCore
