#include "output/BranchText.hpp"

#include "output/TerminalText.hpp"

#include <algorithm>
#include <utility>
#include <vector>

namespace KestrelCLI {

namespace {

constexpr std::size_t fewestColumns = 8;
constexpr std::size_t mostLines = 16;  // no name that a person gave is longer; a hostile one may be

/// What stands before the further lines of a name: the branches that go on below it.
std::string continuation(std::string_view branch) {
    std::string below{branch};
    for (const auto& [end, next] : {std::pair<std::string_view, std::string_view>{"├─ ", "│  "}, {"└─ ", "   "}}) {
        if (branch.ends_with(end)) below.replace(below.size() - end.size(), end.size(), next);
    }
    return below;
}

}  // namespace

std::string branchText(const Session& session, std::size_t before, std::string_view branch, std::string_view name,
                       Style style, std::string_view note) {
    std::string text = session.painted(Style::quiet, branch);
    if (session.columns() == 0) return text + session.painted(style, name) + session.painted(Style::quiet, note);
    const std::size_t used = before + TerminalText::width(branch);
    // A name keeps some columns in any case: a line that the terminal wraps is better than one that names nothing.
    const std::size_t room = std::max(session.columns(), used + fewestColumns) - used;
    const std::string nextLine = '\n' + std::string(before, ' ') + session.painted(Style::quiet, continuation(branch));
    const auto add = [&](std::string_view part, Style partStyle) {
        const std::string shown = session.shortened(part, room * mostLines);
        const std::vector<std::string_view> pieces = TerminalText::wrapped(shown, room);
        for (std::size_t index = 0; index < pieces.size(); ++index) {
            if (index > 0) text += nextLine;
            text += session.painted(partStyle, pieces[index]);
        }
        return TerminalText::width(pieces.back());
    };
    const std::size_t last = name.empty() ? 0 : add(name, style);
    if (note.empty()) return text;
    if (last + TerminalText::width(note) > room && last > 0) {
        text += nextLine;
        note.remove_prefix(std::min(note.find_first_not_of(' '), note.size()));
    }
    (void)add(note, Style::quiet);
    return text;
}

}  // namespace KestrelCLI
