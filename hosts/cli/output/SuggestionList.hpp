#pragma once

#include "output/Session.hpp"

#include "KestrelCore/Base/Date.hpp"
#include "KestrelCore/Reclaim/ReclaimCatalogue.hpp"
#include "KestrelCore/Reclaim/Suggestions.hpp"

#include <cstddef>
#include <string>
#include <vector>

namespace KestrelCLI {

/// What rules of one certainty are called together on the command line: "regenerates", "downloads-again", "yours".
[[nodiscard]] std::string wordFor(KestrelCore::ReclaimCertainty certainty);

/// What can go, certainty by certainty, of each the `mostGroups` largest groups; and what to type next.
void writeOverview(const Session& session, const KestrelCore::Suggestions& suggestions, std::size_t mostGroups);

/// One group with everything that its rule says, and its largest items as they are in it. `now` is what ages count
/// from.
void writeGroup(const Session& session, const KestrelCore::SuggestionGroup& group, std::size_t mostItems,
                KestrelCore::Date now);

/// What a rule says of itself: its title, why, how it comes back, the owner's command.
void writeRule(const Session& session, const KestrelCore::ReclaimRule& rule);

/// What may be typed next, and what for; already escaped.
struct NextCommand {
    std::string command;
    std::string meaning;
};
/// One line for each, below what was shown.
void writeNext(const Session& session, const std::vector<NextCommand>& commands);

/// All rules, the surest first, and what they look for.
void writeCatalogue(const Session& session, const std::vector<KestrelCore::ReclaimRule>& rules);

/// What a rule looks for, a line for each match: "in ~/.cache/pip: everything".
[[nodiscard]] std::vector<std::string> matchLines(const KestrelCore::ReclaimRule& rule, SizeUnits units);

}  // namespace KestrelCLI
