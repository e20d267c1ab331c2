#pragma once

#include "KestrelCore/Base/Text.hpp"
#include "Platform/POSIX/FileDescriptor.hpp"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace KestrelCore {

/// What a folder in a trash takes on the disk.
struct FolderSize {
    std::string name;         ///< in `files`
    std::uint64_t bytes = 0;  ///< allocated, of everything in it and itself
};

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
    /// Removes the info file of `name`. 0 when it is gone, or the errno value.
    [[nodiscard]] int removeInfo(const std::string& name) const;

    // The sizes of folders stand in the file "directorysizes". A cache that any tool can build anew: failures are
    // nothing to stop for.
    /// Notes the sizes of these folders, all in one writing.
    void noteSizes(const std::vector<FolderSize>& sizes) const;
    /// Takes the note about the folder `name` away.
    void forgetSize(const std::string& name) const;
    /// Takes the notes about these folders away, in one writing; the file too where none is left.
    void forgetSizes(const std::vector<FolderSize>& folders) const;

private:
    [[nodiscard]] static std::string otherSizes(std::string_view lines, const std::vector<FolderSize>& sizes);
    void replaceSizes(const std::string& lines) const;
};

/// Says that the info file of `name` is still there, for that errno value, and what it means.
[[nodiscard]] Text staleInfoSentence(const TrashFolder& trash, const std::string& name, int errorNumber);

}  // namespace KestrelCore
