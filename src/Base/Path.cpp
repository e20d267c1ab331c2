#include "KestrelCore/Base/Path.hpp"

#include "Base/PathComponents.hpp"

#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

namespace KestrelCore {

namespace {

std::string_view withoutTrailingSlashes(std::string_view path) {
    while (!path.empty() && path.back() == '/') path.remove_suffix(1);
    return path;
}

/// Where the last component of a path without trailing slashes begins.
std::size_t lastComponentOffset(std::string_view trimmed) {
    const std::size_t slash = trimmed.rfind('/');
    return slash == std::string_view::npos ? 0 : slash + 1;
}

bool hasDoubledSlash(std::string_view path) { return path.find("//") != std::string_view::npos; }

/// `path` without doubled and trailing slashes; "/" stays, but several slashes alone become nothing.
Text fixingSlashes(const Text& path) {
    const std::string_view bytes = path.view();
    if (bytes == "/") return path;
    const std::string_view trimmed = withoutTrailingSlashes(bytes);
    if (!hasDoubledSlash(trimmed)) return path.slice(0, trimmed.size());
    std::string fixed;
    fixed.reserve(trimmed.size());
    for (const char c : trimmed) {
        if (c != '/' || fixed.empty() || fixed.back() != '/') fixed += c;
    }
    return Text{fixed};
}

bool isDots(std::string_view component) { return component == "." || component == ".."; }

bool isStandardized(std::string_view path) {
    if (path == "/") return true;
    if (path.empty() || path.back() == '/' || hasDoubledSlash(path)) return false;
    // Most paths hold no component that begins with a dot at all.
    if (path.front() != '.' && path.find("/.") == std::string_view::npos) return true;
    bool isPlain = true;
    forEachComponent(path, [&](std::string_view component) { isPlain = isPlain && !isDots(component); });
    return isPlain;
}

}  // namespace

Text Path::lastComponent(const Text& path) {
    const std::string_view bytes = path.view();
    if (bytes == "/") return path;
    const std::string_view trimmed = withoutTrailingSlashes(bytes);
    const std::size_t begin = lastComponentOffset(trimmed);
    return path.slice(begin, trimmed.size() - begin);
}

std::size_t Path::extensionOffset(std::string_view name) {
    const std::size_t dot = name.rfind('.');
    if (dot == std::string_view::npos || dot == 0) return name.size();
    return dot + 1;
}

Text Path::extension(const Text& path) {
    const Text name = lastComponent(path);
    const std::size_t begin = extensionOffset(name.view());
    return name.slice(begin, name.byteCount() - begin);
}

Text Path::deletingLastComponent(const Text& path) {
    const Text fixed = fixingSlashes(path);
    const std::size_t begin = lastComponentOffset(fixed.view());
    // The slash before the component goes too, unless it is the root's.
    return fixed.slice(0, begin > 1 ? begin - 1 : begin);
}

Text Path::deletingExtension(const Text& path) {
    const Text fixed = fixingSlashes(path);
    const std::size_t begin = lastComponentOffset(fixed.view());
    const std::string_view name = fixed.view().substr(begin);
    const std::size_t dot = name.rfind('.');
    if (dot == std::string_view::npos || dot == 0 || isDots(name)) return fixed;
    return fixed.slice(0, begin + dot);
}

std::vector<Text> Path::components(const Text& path) {
    std::vector<Text> result;
    const std::string_view bytes = path.view();
    if (bytes.starts_with('/')) result.push_back(path.slice(0, 1));
    forEachComponent(bytes, [&](std::string_view component) {
        result.push_back(path.slice(static_cast<std::size_t>(component.data() - bytes.data()), component.size()));
    });
    return result;
}

Text Path::appending(const Text& path, const Text& component) {
    if (path.isEmpty()) return component;
    const std::string_view left = path.view();
    std::string_view right = component.view();
    if (left.back() == '/') {
        if (right.starts_with('/')) right.remove_prefix(1);
        return Text::concatenating({left, right});
    }
    return Text::concatenating({left, right.starts_with('/') ? "" : "/", right});
}

Text Path::standardized(const Text& path) {
    const std::string_view bytes = path.view();
    if (isStandardized(bytes)) return path;
    const bool isAbsolute = bytes.starts_with('/');
    std::vector<std::string_view> kept;
    forEachComponent(bytes, [&](std::string_view component) {
        if (component == ".") return;
        if (component != "..") {
            kept.push_back(component);
        } else if (!kept.empty() && kept.back() != "..") {
            kept.pop_back();
        } else if (!isAbsolute) {
            kept.push_back(component);
        }
    });
    std::string result;
    result.reserve(bytes.size());
    for (const std::string_view component : kept) {
        if (isAbsolute || !result.empty()) result += '/';
        result += component;
    }
    if (result.empty() && isAbsolute) result += '/';
    return Text{result};
}

bool Path::isBeneath(const Text& path, const Text& folder) {
    if (!path.isNormalized() || !folder.isNormalized()) return isBeneath(path.normalized(), folder.normalized());
    const std::string_view inner = path.view();
    const std::string_view outer = folder.view();
    if (outer == "/") return inner.size() > 1 && inner.front() == '/';
    return inner.size() > outer.size() && inner[outer.size()] == '/' && inner.starts_with(outer);
}

std::vector<Text> Path::uppermost(const std::vector<Text>& paths) {
    std::unordered_set<std::string_view> all;
    for (const Text& path : paths) all.insert(path.view());
    const auto isBelowAnother = [&](std::string_view path) {
        for (std::size_t slash = path.rfind('/'); slash != 0 && slash != std::string_view::npos;
             slash = path.rfind('/', slash - 1)) {
            if (all.contains(path.substr(0, slash))) return true;
        }
        return path.size() > 1 && path.front() == '/' && all.contains("/");
    };
    std::vector<Text> result;
    std::unordered_set<std::string_view> taken;
    for (const Text& path : paths) {
        if (!isBelowAnother(path.view()) && taken.insert(path.view()).second) result.push_back(path);
    }
    return result;
}

}  // namespace KestrelCore
