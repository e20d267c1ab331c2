#pragma once

#include "KestrelCore/Base/Text.hpp"
#include "KestrelCore/Export.hpp"

#include <functional>
#include <optional>
#include <vector>

namespace KestrelCore {

/// Path algebra on plain texts: nothing here asks the disk, and "/" always is a boundary, also before a combining mark.
class KESTRELCORE_EXPORT Path {
public:
    Path() = delete;

    /// The text after the last "/", trailing slashes ignored; "/" for a path of slashes only, "" for the empty path.
    [[nodiscard]] static Text lastComponent(const Text& path);
    /// The extension of the last component without its dot, "" when there is none (".bashrc", "a.", "x.my file").
    [[nodiscard]] static Text extension(const Text& path);
    /// "/a/b" gives "/a", "/a" gives "/", "a" gives "".
    [[nodiscard]] static Text deletingLastComponent(const Text& path);
    /// The path without its extension and the dot before it.
    [[nodiscard]] static Text deletingExtension(const Text& path);
    /// "/" first for an absolute path, then each non-empty component.
    [[nodiscard]] static std::vector<Text> components(const Text& path);
    /// One "/" between the two; `component` may hold "/" itself.
    [[nodiscard]] static Text appending(const Text& path, const Text& component);
    /// Removes ".", "..", doubled and trailing slashes of an absolute path without looking at the disk.
    [[nodiscard]] static Text standardized(const Text& path);
    /// Whether `path` begins with `folder` followed by "/" (for the folder "/": any other path that begins with "/").
    [[nodiscard]] static bool isBeneath(const Text& path, const Text& folder);
    /// The bytes of `name` (one path component) at which its extension begins, by the rule of `extension`;
    /// `name.size()` when it has none. On raw bytes, for callers that build no texts.
    [[nodiscard]] static std::size_t extensionOffset(std::string_view name);
};

/// A file URL. Equality and hash are those of the URL's text: file:///a and file:///a/ differ.
class KESTRELCORE_EXPORT URL {
public:
    /// A file URL from a path, percent-encoded as it stands: no dot removal, nothing asked of the disk. A relative path
    /// is resolved against the working directory, the empty path means ".". `isDirectory` adds a trailing slash.
    [[nodiscard]] static URL fromPath(const Text& path, bool isDirectory = false);
    /// Reads a URL's text, as found in a payload. Characters that may not stand raw are percent-encoded. Empty for the
    /// empty text and for a malformed authority (bad port, unbalanced bracket).
    [[nodiscard]] static std::optional<URL> parse(const Text& text);

    [[nodiscard]] const Text& absoluteString() const { return text_; }
    /// Percent-decoded path without trailing slashes (except for the root); "%2F" and "%00" stay encoded; "" when an
    /// escape can't be decoded.
    [[nodiscard]] const Text& path() const { return path_; }
    [[nodiscard]] Text lastPathComponent() const;
    [[nodiscard]] Text pathExtension() const;
    [[nodiscard]] std::vector<Text> pathComponents() const;
    [[nodiscard]] bool hasDirectoryPath() const;  ///< the URL's text ends in "/"

    /// "." and ".." segments and doubled slashes removed by text alone; links are not resolved.
    [[nodiscard]] URL standardized() const;
    [[nodiscard]] URL deletingLastPathComponent() const;
    [[nodiscard]] URL deletingPathExtension() const;
    [[nodiscard]] URL appending(const Text& component, bool isDirectory = false) const;

    friend bool operator==(const URL& a, const URL& b) { return a.text_ == b.text_; }

private:
    URL(Text text, Text path) : text_{std::move(text)}, path_{std::move(path)} {}

    Text text_;
    Text path_;  ///< decoded from `text_` once
};

}  // namespace KestrelCore

template <>
struct std::hash<KestrelCore::URL> {
    std::size_t operator()(const KestrelCore::URL& url) const { return url.absoluteString().hash(); }
};
