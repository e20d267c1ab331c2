#include "Snapshot/Search/QueryFolding.hpp"

#include "Platform/UserLanguages.hpp"

#include <string>
#include <string_view>

namespace KestrelCore {

namespace {

bool isTurkic(std::string_view language) {
    const std::string_view subtag = language.substr(0, language.find_first_of("-_"));
    return subtag == "tr" || subtag == "az";
}

}  // namespace

Text foldedQuery(const Text& text, const Text& language) {
    if (!isTurkic(language.view())) return text.folded();
    constexpr std::string_view dotted = "İ";
    constexpr std::string_view dottedInTwo = "I\u0307";
    std::string letters;
    for (std::string_view rest = text.view(); !rest.empty();) {
        if (rest.starts_with(dotted) || rest.starts_with(dottedInTwo)) {
            letters += 'i';
            rest.remove_prefix(rest.starts_with(dotted) ? dotted.size() : dottedInTwo.size());
            continue;
        }
        if (rest.front() == 'I') {
            letters += "ı";
        } else {
            letters += rest.front();
        }
        rest.remove_prefix(1);
    }
    return Text{letters}.folded();
}

Text foldedQuery(const Text& text) {
    static const Text language = userLanguages().front();
    return foldedQuery(text, language);
}

}  // namespace KestrelCore
