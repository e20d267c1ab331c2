#include "Applications/Bundles/Bundle.hpp"

#include "KestrelCore/Base/URL.hpp"
#include "KestrelCore/Platform/FileManager.hpp"
#include "Platform/SmallFile.hpp"
#include "Platform/UserLanguages.hpp"

#include <algorithm>
#include <cstddef>
#include <string>
#include <string_view>

// Where a bundle keeps its parts is told by its folders:
//
//   Contents/Info.plist          Contents/Resources/en.lproj/InfoPlist.strings        most bundles
//   Resources/Info.plist         Resources/en.lproj/…                                 frameworks and their like
//   Support Files/Info.plist     the same
//   Info.plist                   en.lproj/…                                           flat ones
//
// An application for another kind of device is wrapped: a folder "Wrapper" holds it, and a link "WrappedBundle" beside
// that folder leads to it. Names that differ from these in case only are taken where the exact one is missing: a
// disk that came from elsewhere may have ignored case.

namespace KestrelCore {
namespace {

std::vector<URL> contentsOf(const Text& folder) {
    try {
        return FileManager::standard()->contentsOfDirectory(URL::fromPath(folder), false);
    } catch (const PlatformError&) {
        return {};
    }
}

/// The path in `folder`, whose content is given, of the item with that name: the exact one, else one that differs in
/// case.
std::optional<Text> itemNamed(const Text& name, const Text& folder, const std::vector<URL>& content) {
    const Text wanted = name.lowercased();
    std::optional<Text> similar;
    for (const URL& item : content) {
        const Text found = item.lastPathComponent();
        if (found == name) return Path::appending(folder, name);
        if (!similar && found.lowercased() == wanted) similar = Path::appending(folder, found);
    }
    return similar;
}

std::optional<Text> itemNamed(const Text& name, const Text& folder) {
    return itemNamed(name, folder, contentsOf(folder));
}

PropertyListStrings stringsOf(const std::optional<Text>& file) {
    if (!file) return {};
    const std::optional<std::string> bytes = readSmallFile(*file, PropertyListLimits::fileBytes);
    if (!bytes) return {};
    return readPropertyList(*bytes).value_or(PropertyListStrings{});
}

/// Behind the link of a wrapped bundle; only into the wrapper beside it, else a link could lead anywhere.
Text unwrapped(const Text& path, const std::vector<URL>& content) {
    const auto wrapper = std::find_if(content.begin(), content.end(),
                                      [](const URL& item) { return item.lastPathComponent() == "Wrapper"; });
    if (wrapper == content.end() || !wrapper->hasDirectoryPath()) return path;
    const std::optional<Text> target = linkTarget(Path::appending(path, "WrappedBundle"));
    if (!target) return path;
    const std::vector<Text> components = Path::components(*target);
    const bool leadsInside = components.size() == 2 && components[0] == "Wrapper" && components[1] != "..";
    return leadsInside ? Path::appending(path, *target) : path;
}

/// A user may list every language there is; nobody reads the tenth.
constexpr std::size_t mostLanguages = 8;

/// What the folder for a language may be called: the whole of it before its beginnings, each also with the other sign
/// between its parts.
std::vector<std::string> folderNames(const Text& language) {
    std::vector<std::string> names;
    for (std::string name = language.string(); !name.empty();) {
        names.push_back(name);
        std::string other = name;
        std::ranges::replace(other, '-', '_');
        if (other != name) names.push_back(std::move(other));
        const std::size_t end = name.rfind('-');
        name.resize(end == std::string::npos ? 0 : end);
    }
    return names;
}

}  // namespace

std::optional<Bundle> Bundle::open(const Text& path) { return open(path, userLanguages()); }

std::optional<Bundle> Bundle::open(const Text& path, const std::vector<Text>& languages) {
    if (!isFolder(path)) return std::nullopt;
    std::vector<URL> content = contentsOf(path);
    Text base = unwrapped(path, content);
    if (base != path) content = contentsOf(base);

    // The folder that holds the information, and the one that holds the localized strings.
    Text information = base;
    Text resources = base;
    for (const char* name : {"Contents", "Resources", "Support Files"}) {
        const std::optional<Text> folder = itemNamed(name, base, content);
        if (!folder || !isFolder(*folder)) continue;
        information = *folder;
        content = contentsOf(information);
        resources = *folder;
        if (name == std::string_view{"Contents"})
            resources = itemNamed("Resources", information, content).value_or(information);
        break;
    }

    Bundle bundle;
    bundle.information_ = stringsOf(itemNamed("Info.plist", information, content));
    const std::vector<URL> resourceContent = resources == information ? content : contentsOf(resources);
    const auto addStringsOf = [&](std::string_view language) {
        const Text name = Text::concatenating({language, ".lproj"});
        const std::optional<Text> folder = itemNamed(name, resources, resourceContent);
        if (folder) bundle.localized_.push_back(stringsOf(itemNamed("InfoPlist.strings", *folder)));
        return folder.has_value();
    };
    for (std::size_t index = 0; index < std::min(languages.size(), mostLanguages); ++index) {
        const std::vector<std::string> names = folderNames(languages[index]);
        (void)std::ranges::any_of(names, addStringsOf);
    }
    addStringsOf("Base");
    return bundle;
}

std::optional<Text> Bundle::string(const Text& forInfoDictionaryKey) const {
    for (const PropertyListStrings& strings : localized_) {
        if (const auto found = strings.find(forInfoDictionaryKey); found != strings.end()) return found->second;
    }
    const auto found = information_.find(forInfoDictionaryKey);
    return found == information_.end() ? std::nullopt : found->second;
}

std::optional<Text> Bundle::identifier() const {
    const auto found = information_.find("CFBundleIdentifier");
    return found == information_.end() ? std::nullopt : found->second;
}

}  // namespace KestrelCore
