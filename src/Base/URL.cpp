#include "KestrelCore/Base/URL.hpp"

#include "Base/PercentCoding.hpp"
#include "Base/TextScan.hpp"

#include <algorithm>
#include <filesystem>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>

// A URL keeps its text, percent-encoded, and the path decoded from it. What changes a URL works on the text, component
// by component, because the decoded path can't be encoded again where it holds "%2F"; what asks works on the path.

namespace KestrelCore {

namespace {

constexpr KeptBytes keptInPath = keepingUnreservedAnd("!$&'()*+,;=:@/");
constexpr KeptBytes keptInQuery = keepingUnreservedAnd("!$&'()*+,;=:@/?");
constexpr KeptBytes keptInAuthority = keepingUnreservedAnd("!$&'()*+,;=:@[]");

/// `path` without the slashes at its end; a single one, the root, stays.
std::string_view withoutSlashesAfterRoot(std::string_view path) {
    while (path.size() > 1 && path.back() == '/') path.remove_suffix(1);
    return path;
}

/// Decodes a percent-encoded path without its trailing slashes; "" when that gives no well-formed text. An escaped
/// slash would change the components and an escaped NUL would end the path for the system, so both stay encoded.
Text decodedPath(std::string_view encoded) {
    encoded = withoutSlashesAfterRoot(encoded);
    std::string path;
    path.reserve(encoded.size());
    for (std::size_t index = 0; index < encoded.size(); ++index) {
        const int byte = percentEscapeAt(encoded, index);
        if (byte <= 0 || byte == '/') {
            path += encoded[index];
        } else {
            path += static_cast<char>(byte);
            index += 2;
        }
    }
    return isWellFormedUTF8(path) ? Text{path} : Text{};
}

/// The three stretches of a URL's text: "scheme://authority", path, "?query#fragment".
struct Parts {
    std::string_view prefix;
    std::string_view path;
    std::string_view suffix;
};

bool isScheme(std::string_view text) {
    const auto isLetter = [](char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); };
    return !text.empty() && isLetter(text.front()) && std::all_of(text.begin(), text.end(), [&](char c) {
        return isLetter(c) || (c >= '0' && c <= '9') || c == '+' || c == '-' || c == '.';
    });
}

Parts split(std::string_view text) {
    std::size_t pathBegin = 0;
    const std::size_t colon = text.find_first_of(":/?#");
    if (colon != std::string_view::npos && text[colon] == ':' && isScheme(text.substr(0, colon))) {
        pathBegin = colon + 1;
    }
    if (text.substr(pathBegin).starts_with("//")) {
        pathBegin = std::min(text.find_first_of("/?#", pathBegin + 2), text.size());
    }
    const std::size_t pathEnd = std::min(text.find_first_of("?#", pathBegin), text.size());
    return {text.substr(0, pathBegin), text.substr(pathBegin, pathEnd - pathBegin), text.substr(pathEnd)};
}

/// What follows "//" in a prefix; empty when there is none.
std::string_view authority(std::string_view prefix) {
    const std::size_t slashes = prefix.find("//");
    return slashes == std::string_view::npos ? std::string_view{} : prefix.substr(slashes + 2);
}

bool isWellFormedAuthority(std::string_view text) {
    if (const std::size_t at = text.rfind('@'); at != std::string_view::npos) {
        if (text.substr(0, at).find_first_of("[]") != std::string_view::npos) return false;
        text.remove_prefix(at + 1);
    }
    std::string_view port;
    if (text.starts_with('[')) {
        const std::size_t end = text.find(']');
        if (end == std::string_view::npos || end == 1) return false;
        if (text.substr(1, end - 1).find('[') != std::string_view::npos) return false;
        port = text.substr(end + 1);
        if (!port.empty() && port.front() != ':') return false;
    } else {
        if (text.find_first_of("[]") != std::string_view::npos) return false;
        if (const std::size_t colon = text.find(':'); colon != std::string_view::npos) port = text.substr(colon);
    }
    if (!port.empty()) port.remove_prefix(1);
    return std::all_of(port.begin(), port.end(), [](char c) { return c >= '0' && c <= '9'; });
}

/// The dot before the extension of a component, by the rule of URLs but for the characters that it may not hold;
/// `npos` when there is none.
std::size_t extensionDot(std::string_view component) {
    const std::size_t dot = component.rfind('.');
    if (dot == std::string_view::npos || dot == 0 || dot + 1 == component.size()) return std::string_view::npos;
    const std::string_view before = component.substr(0, dot);
    return before == "." || before == ".." ? std::string_view::npos : dot;
}

/// A space, or a mark that changes the direction of what is shown: such an extension could pretend to be another.
bool holdsForbiddenScalar(std::string_view extension) {
    static constexpr std::string_view forbidden[] = {" ",      "\u061C", "\u200E", "\u200F", "\u202A",
                                                     "\u202B", "\u202C", "\u202D", "\u202E", "\u2066",
                                                     "\u2067", "\u2068", "\u2069"};
    return std::any_of(std::begin(forbidden), std::end(forbidden),
                       [&](std::string_view scalar) { return extension.find(scalar) != std::string_view::npos; });
}

/// Standardises an encoded path. Escapes are decoded to see what a component is, and kept in what stays.
std::string standardizedEncoded(std::string_view encoded) {
    const bool isAbsolute = encoded.starts_with('/');
    const bool isDirectory = encoded.ends_with('/');
    std::vector<std::string_view> kept;
    for (std::size_t begin = 0; begin < encoded.size();) {
        const std::size_t end = std::min(encoded.find('/', begin), encoded.size());
        const std::string_view component = encoded.substr(begin, end - begin);
        begin = end + 1;
        const Text name = decodedPath(component);
        if (component.empty() || name.view() == ".") continue;
        const bool isParent = name.view() == "..";
        if (isParent && !kept.empty() && decodedPath(kept.back()).view() != "..") {
            kept.pop_back();
        } else if (!isParent || !isAbsolute) {
            kept.push_back(component);
        }
    }
    std::string result;
    for (const std::string_view component : kept) {
        if (isAbsolute || !result.empty()) result += '/';
        result += component;
    }
    if ((isAbsolute && result.empty()) || (isDirectory && !kept.empty())) result += '/';
    return result;
}

Text joined(std::string_view prefix, std::string_view path, std::string_view suffix) {
    return Text::concatenating({prefix, path, suffix});
}

}  // namespace

URL URL::fromPath(const Text& path, bool isDirectory) {
    Text absolute = path;
    if (!path.view().starts_with('/')) {
        std::error_code error;
        const Text folder{std::filesystem::current_path(error).string()};
        // Where the working directory was removed the path stays relative: it must not name an item of "/".
        if (!folder.view().starts_with('/')) {
            std::string relative = "./";
            appendPercentEncoded(withoutSlashesAfterRoot(path.view()), keptInPath, PresentEscapes::encode, relative);
            return URL{Text{relative}, decodedPath(relative)};
        }
        absolute = Path::standardized(Path::appending(folder, path));
    }
    const std::string_view trimmed = withoutSlashesAfterRoot(absolute.view());
    std::string text = "file://";
    text.reserve(text.size() + trimmed.size() + 16);
    appendPercentEncoded(trimmed, keptInPath, PresentEscapes::encode, text);
    if (isDirectory && !text.ends_with('/')) text += '/';
    // NUL is the one byte whose escape is not decoded again.
    const bool holdsNUL = trimmed.find('\0') != std::string_view::npos;
    Text decoded = holdsNUL ? decodedPath(split(text).path) : absolute.slice(0, trimmed.size());
    return URL{Text{text}, std::move(decoded)};
}

std::optional<URL> URL::parse(const Text& text) {
    if (text.isEmpty()) return std::nullopt;
    const Parts parts = split(text.view());
    const std::string_view host = authority(parts.prefix);
    if (!isWellFormedAuthority(host)) return std::nullopt;
    std::string encoded{parts.prefix.substr(0, parts.prefix.size() - host.size())};
    encoded.reserve(text.byteCount() + 16);
    appendPercentEncoded(host, keptInAuthority, PresentEscapes::keep, encoded);
    const std::size_t pathBegin = encoded.size();
    appendPercentEncoded(parts.path, keptInPath, PresentEscapes::keep, encoded);
    Text path = decodedPath(std::string_view{encoded}.substr(pathBegin));
    if (!parts.suffix.empty()) {
        // The first "?" or "#" opens the suffix; the first "#" in it opens the fragment and stands raw.
        const std::size_t hash = parts.suffix.find('#');
        const std::string_view query = parts.suffix.substr(0, hash);
        appendPercentEncoded(query, keptInQuery, PresentEscapes::keep, encoded);
        if (hash != std::string_view::npos) {
            encoded += '#';
            appendPercentEncoded(parts.suffix.substr(hash + 1), keptInQuery, PresentEscapes::keep, encoded);
        }
    }
    return URL{Text{encoded}, std::move(path)};
}

Text URL::lastPathComponent() const { return Path::lastComponent(path_); }

Text URL::pathExtension() const {
    const Text name = lastPathComponent();
    const std::size_t dot = extensionDot(name.view());
    if (dot == std::string_view::npos || holdsForbiddenScalar(name.view().substr(dot + 1))) return Text{};
    return name.slice(dot + 1, name.byteCount() - dot - 1);
}

std::vector<Text> URL::pathComponents() const { return Path::components(path_); }

bool URL::hasDirectoryPath() const { return split(text_.view()).path.ends_with('/'); }

URL URL::standardized() const {
    const Parts parts = split(text_.view());
    const bool isPlain =
        parts.path.find("//") == std::string_view::npos && Path::standardized(path_).view() == path_.view();
    if (isPlain || path_.isEmpty()) return *this;
    const std::string path = standardizedEncoded(parts.path);
    return URL{joined(parts.prefix, path, parts.suffix), decodedPath(path)};
}

URL URL::deletingLastPathComponent() const {
    const Parts parts = split(text_.view());
    if (parts.path.empty() || parts.path == "/") return *this;
    const std::string_view trimmed = withoutSlashesAfterRoot(parts.path);
    const std::size_t slash = trimmed.rfind('/');
    const std::string_view last = slash == std::string_view::npos ? trimmed : trimmed.substr(slash + 1);
    std::string path;
    if (last == "..") {
        path = std::string{trimmed} + "/";
    } else if (slash == std::string_view::npos) {
        path = "./";
    } else {
        path = trimmed.substr(0, slash + 1);
    }
    return URL{joined(parts.prefix, path, parts.suffix), decodedPath(path)};
}

URL URL::deletingPathExtension() const {
    const Parts parts = split(text_.view());
    const std::string_view trimmed = withoutSlashesAfterRoot(parts.path);
    const std::size_t begin = trimmed.rfind('/') + 1;
    const std::size_t dot = extensionDot(trimmed.substr(begin));
    if (dot == std::string_view::npos) return *this;
    const std::string path = std::string{trimmed.substr(0, begin + dot)} + (parts.path.ends_with('/') ? "/" : "");
    return URL{joined(parts.prefix, path, parts.suffix), decodedPath(path)};
}

URL URL::appending(const Text& component, bool isDirectory) const {
    const Parts parts = split(text_.view());
    std::string path{parts.path};
    std::string_view name = component.view();
    if (!path.empty() || !authority(parts.prefix).empty() || parts.prefix.ends_with("//")) {
        if (!path.ends_with('/')) path += '/';
        if (name.starts_with('/')) name.remove_prefix(1);
    }
    appendPercentEncoded(withoutSlashesAfterRoot(name), keptInPath, PresentEscapes::encode, path);
    if (isDirectory && !path.ends_with('/')) path += '/';
    return URL{joined(parts.prefix, path, parts.suffix), decodedPath(path)};
}

}  // namespace KestrelCore
