#include "KestrelCore/Reclaim/ReclaimCatalogue.hpp"

#include "KestrelCore/Base/Path.hpp"
#include "KestrelCore/Platform/DesktopLocations.hpp"
#include "KestrelCore/Platform/FileManager.hpp"
#include "Platform/SmallFile.hpp"
#include "Platform/SystemName.hpp"
#include "Reclaim/RuleText.hpp"
#include "Reclaim/ShippedRules.hpp"

#include <algorithm>
#include <string>
#include <tuple>

namespace KestrelCore {

namespace {

constexpr std::string_view ending = ".toml";
/// Many times what a rule with all that it may say takes.
constexpr std::size_t mostBytes = 65'536;

bool goesFirst(const ReclaimRule& a, const ReclaimRule& b) {
    return std::tuple{a.rank, a.certainty, a.identifier.view()} < std::tuple{b.rank, b.certainty, b.identifier.view()};
}

}  // namespace

ReclaimCatalogue::ReclaimCatalogue(Systems systems) : systems_{systems} {}

ReclaimCatalogue ReclaimCatalogue::standard(Systems systems) {
    ReclaimCatalogue catalogue = shipped(systems);
    catalogue.addFolder(Path::appending(DesktopLocations::current().configurationFolder, "kestrel/reclaim"));
    return catalogue;
}

ReclaimCatalogue ReclaimCatalogue::shipped(Systems systems) {
    ReclaimCatalogue catalogue{systems};
    for (const ShippedRule& each : shippedRules()) catalogue.add(each.text, Text{each.file});
    return catalogue;
}

void ReclaimCatalogue::add(std::string_view text, const Text& file) {
    const std::string name = Path::lastComponent(file).string();
    const std::string identifier = name.ends_with(ending) ? name.substr(0, name.size() - ending.size()) : name;
    try {
        ReclaimRule rule = readRule(text, identifier);
        std::erase_if(rules_, [&](const ReclaimRule& known) { return known.identifier == rule.identifier; });
        const auto isThisSystem = [](const Text& system) { return system.view() == systemName(); };
        if (systems_ == Systems::thisOne && std::ranges::none_of(rule.systems, isThisSystem)) return;
        rules_.insert(std::ranges::upper_bound(rules_, rule, goesFirst), std::move(rule));
    } catch (const RuleError& error) {
        problems_.push_back({.file = file, .line = error.line(), .message = Text{error.what()}});
    }
}

void ReclaimCatalogue::addFolder(const Text& folder) {
    if (!isFolder(folder)) return;
    std::vector<Text> names = FileManager::standard()->contentsOfDirectory(folder);
    std::erase_if(names, [](const Text& name) { return !name.view().ends_with(ending); });
    std::ranges::sort(names, {}, [](const Text& name) { return name.view(); });
    for (const Text& name : names) {
        const Text file = Path::appending(folder, name);
        // A person's own settings often are links into a folder that they keep elsewhere.
        if (const auto text = readSmallFile(file, mostBytes, FinalLink::followed)) {
            add(*text, file);
        } else {
            problems_.push_back({.file = file,
                                 .line = 0,
                                 .message = isFolder(file)
                                                ? "It is a folder, and is to be a file."
                                                : "It could not be read, is no regular file, or is too large."});
        }
    }
}

const ReclaimRule* ReclaimCatalogue::find(std::string_view identifier) const {
    const auto found =
        std::ranges::find_if(rules_, [&](const ReclaimRule& rule) { return rule.identifier.view() == identifier; });
    return found == rules_.end() ? nullptr : &*found;
}

}  // namespace KestrelCore
