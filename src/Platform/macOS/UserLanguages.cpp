#include "Platform/UserLanguages.hpp"

#include "Platform/macOS/Frameworks/CoreFoundation.hpp"

namespace KestrelCore {

std::vector<Text> userLanguages() {
    std::vector<Text> languages;
    const CoreFoundation::Owned list = CoreFoundation::preferredLanguages();
    for (std::size_t index = 0; index < CoreFoundation::arrayCount(list.get()); ++index) {
        if (const auto language = CoreFoundation::string(CoreFoundation::arrayElement(list.get(), index)))
            languages.emplace_back(*language);
    }
    if (languages.empty()) languages.emplace_back("en");
    return languages;
}

}  // namespace KestrelCore
