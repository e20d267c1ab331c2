#pragma once

#include "KestrelCore/Base/Text.hpp"
#include "KestrelCore/Export.hpp"
#include "KestrelCore/Model/FileKind.hpp"

#include <string>
#include <string_view>
#include <vector>

namespace KestrelCore {

/// Names what a scan leaves out. Case counts, and what is compared are the bytes of names as the disk has them.
///
/// - Without "/" it is the name of an item in any folder: "node_modules", "*.iso".
/// - With one it is a path: from the root of the file system where it begins with "/" ("/home/*/.cache"), else from the
///   root of the scan ("Downloads/old", "./build").
/// - "*" stands for any characters of a name, "?" for one, "[a-z]" for one of these, "[!a-z]" for one of all others,
///   and "**" between slashes for any number of folders, also none. A backslash takes the next character as it is.
/// - With a "/" at its end it leaves out folders only.
///
/// What lies in a folder that is left out is left out with it. The root of the scan itself never is.
class KESTRELCORE_EXPORT ExcludePattern {
public:
    /// Throws `KestrelError::unavailable` for what would not mean what it looks like: a pattern that begins with "!",
    /// has a component "." or "..", ends in a backslash, is empty, or has more than 4096 characters when runs of "*"
    /// are taken for one.
    [[nodiscard]] static ExcludePattern parse(std::string_view text);

    /// Those of a file, one a line; empty lines, and those that begin with "#", count for nothing. Throws as `parse`
    /// with the line's number, and `unavailable` for what is no regular file, has more than a mebibyte or a NUL, or
    /// can't be read. Blocks on the disk, but never on a FIFO.
    [[nodiscard]] static std::vector<ExcludePattern> readFile(const std::string& path);

    /// Whether it leaves the item at `path` out of a scan of `root`, itself or with a folder above it. Both are
    /// absolute; nothing outside of the root is left out. Only text is looked at.
    [[nodiscard]] bool leavesOut(const Text& path, const Text& root, FileKind kind) const;

    /// As it was given; bytes, which need not be UTF-8.
    [[nodiscard]] std::string_view bytes() const { return bytes_; }
    /// The same to be shown.
    [[nodiscard]] Text text() const { return Text{bytes_}; }

    bool operator==(const ExcludePattern&) const = default;

private:
    explicit ExcludePattern(std::string_view bytes) : bytes_{bytes} {}

    std::string bytes_;
};

}  // namespace KestrelCore
