#include "commands/TypeWords.hpp"

#include "output/NearNames.hpp"

#include "KestrelCore/Base/Text.hpp"

#include <algorithm>
#include <map>

using namespace KestrelCore;

namespace KestrelCLI {

namespace {

const std::map<std::string_view, FileKind>& kindWords() {
    static const std::map<std::string_view, FileKind> words{
        {"file", FileKind::file},          {"files", FileKind::file},           {"folder", FileKind::directory},
        {"folders", FileKind::directory},  {"directory", FileKind::directory},  {"directories", FileKind::directory},
        {"package", FileKind::package},    {"packages", FileKind::package},     {"link", FileKind::symbolicLink},
        {"links", FileKind::symbolicLink}, {"symlink", FileKind::symbolicLink}, {"symlinks", FileKind::symbolicLink}};
    return words;
}

}  // namespace

std::optional<TypeOfItem> typeNamed(std::string_view word) {
    const std::string lowered = Text{word}.lowercased().string();
    if (const auto kind = kindWords().find(lowered); kind != kindWords().end()) return kind->second;
    if (const auto category = ItemCategories::named(lowered)) return *category;
    return std::nullopt;
}

std::vector<std::string> typeNames() {
    std::vector<std::string> names;
    for (const ItemCategory category : allItemCategories) {
        std::string& name = names.emplace_back(ItemCategories::nameOf(category));
        // As one word, since a blank would have to be quoted.
        std::ranges::replace(name, ' ', '-');
    }
    names.insert(names.end(), {"files", "folders", "links"});
    return names;
}

std::optional<std::string> typeNameNear(std::string_view word) {
    // One of many is as near as the many: "phto" is one slip from "photo", and two from "photos".
    std::vector<std::string> candidates;
    for (const std::string& name : typeNames()) {
        candidates.push_back(name);
        if (name.ends_with('s')) candidates.push_back(name.substr(0, name.size() - 1));
    }
    const std::vector<std::string> near = nearNames(word, candidates, 1);
    if (near.empty()) return std::nullopt;
    const std::string& name = near.front();
    const std::vector<std::string> names = typeNames();
    const bool isOneOfMany = std::ranges::find(names, name) == names.end();
    return isOneOfMany ? name + 's' : name;
}

bool isKnownExtension(std::string_view word) {
    while (word.starts_with('.')) word.remove_prefix(1);
    return !word.empty() && ItemCategories::of(Text{word}) != ItemCategory::other;
}

}  // namespace KestrelCLI
