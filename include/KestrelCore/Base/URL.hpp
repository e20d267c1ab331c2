#pragma once

#include "KestrelCore/Base/Path.hpp"
#include "KestrelCore/Base/Text.hpp"
#include "KestrelCore/Export.hpp"

#include <functional>
#include <optional>
#include <utility>
#include <vector>

namespace KestrelCore {

/// A file URL. Equality and hash are those of the URL's text: file:///a and file:///a/ differ.
class KESTRELCORE_EXPORT URL {
public:
    /// A file URL from a path as it stands, percent-encoded; asks no disk. A relative path goes on from the working
    /// directory, where that exists, the empty path means ".". `isDirectory` adds a trailing slash.
    [[nodiscard]] static URL fromPath(const Text& path, bool isDirectory = false);
    /// Reads a URL's text, as found in a payload. Characters that may not stand raw are percent-encoded. Empty for the
    /// empty text and for a malformed authority (bad port, unbalanced bracket).
    [[nodiscard]] static std::optional<URL> parse(const Text& text);

    [[nodiscard]] const Text& absoluteString() const { return text_; }
    /// Percent-decoded path without trailing slashes (except for the root); "%2F" and "%00" stay encoded; "" when an
    /// escape can't be decoded.
    [[nodiscard]] const Text& path() const { return path_; }
    /// Of `path`: "/" for the root, "" when the path is empty.
    [[nodiscard]] Text lastPathComponent() const;
    /// As `Path::extension`, but also "" when the extension holds a space or a direction mark ("x.my file"), or when
    /// only dots precede it ("..a").
    [[nodiscard]] Text pathExtension() const;
    [[nodiscard]] std::vector<Text> pathComponents() const;
    [[nodiscard]] bool hasDirectoryPath() const;  ///< the URL's text ends in "/"

    /// "." and ".." segments and doubled slashes removed by text alone; links are not resolved.
    [[nodiscard]] URL standardized() const;
    /// The URL of the folder, with a trailing slash; unchanged but for that slash for the root and when ".." is last.
    [[nodiscard]] URL deletingLastPathComponent() const;
    /// Removes the last "." and what follows, where the component has an extension but for the characters in it.
    [[nodiscard]] URL deletingPathExtension() const;
    /// One "/" between the path and `component`, which may hold "/" itself; `isDirectory` adds a trailing slash.
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
