#pragma once

#include "KestrelCore/Base/Text.hpp"
#include "KestrelCore/Export.hpp"

#include <cstddef>
#include <string_view>
#include <vector>

namespace KestrelCore {

/// Path algebra on plain texts: nothing here asks the disk, and "/" always is a boundary, also before a combining mark.
/// Any thread; nothing throws.
///
/// These are the platform's operations on path strings. `URL` has operations of the same names whose rules differ in
/// corners: what an extension may hold, and doubled slashes.
///
///                       lastComponent   extension   deletingLastComponent   standardized
///     "/a/b.txt"        "b.txt"         "txt"       "/a"                    "/a/b.txt"
///     "/a/./c/../b/"    "b"             ""          "/a/./c/.."             "/a/b"
///     "b"               "b"             ""          ""                      "b"
///     "/"               "/"             ""          "/"                     "/"
class KESTRELCORE_EXPORT Path {
public:
    Path() = delete;

    /// The text after the last "/", trailing slashes ignored; "/" for "/" itself, "" for the empty path and for "//".
    [[nodiscard]] static Text lastComponent(const Text& path);
    /// The text after the last "." of the last component; "" when there is none, or that "." is its first or last byte
    /// (".bashrc", "a."). Anything else may stand in an extension: "x.my file" has "my file".
    [[nodiscard]] static Text extension(const Text& path);
    /// "/a/b" gives "/a", "/a" gives "/", "a" gives "". Doubled and trailing slashes go: "/a//b/c/" gives "/a/b".
    [[nodiscard]] static Text deletingLastComponent(const Text& path);
    /// The path without its extension and the dot before it, also when the dot ends it: "/x/a." gives "/x/a". Doubled
    /// and trailing slashes go.
    [[nodiscard]] static Text deletingExtension(const Text& path);
    /// "/" first for an absolute path, then each non-empty component.
    [[nodiscard]] static std::vector<Text> components(const Text& path);
    /// One "/" between the two; `component` may hold "/" itself.
    [[nodiscard]] static Text appending(const Text& path, const Text& component);
    /// Removes ".", "..", doubled and trailing slashes without looking at the disk; ".." above the root stays there. A
    /// relative path keeps the ".." at its start.
    [[nodiscard]] static Text standardized(const Text& path);
    /// Whether `path` begins with `folder` followed by "/" (for the folder "/": any other path that begins with "/").
    [[nodiscard]] static bool isBeneath(const Text& path, const Text& folder);
    /// `paths`, absolute ones, without those that lie beneath others of them, each once, in their order: a folder takes
    /// its content along. By bytes: what lies in a folder of an equal name in other code points stays.
    [[nodiscard]] static std::vector<Text> uppermost(const std::vector<Text>& paths);
    /// The bytes of `name` (one path component) at which its extension begins, by the rule of `extension`;
    /// `name.size()` when it has none. On raw bytes, for callers that build no texts.
    [[nodiscard]] static std::size_t extensionOffset(std::string_view name);
};

}  // namespace KestrelCore
