#include "output/SuggestionList.hpp"

#include "output/Table.hpp"
#include "output/Times.hpp"
#include "output/WordWrap.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <string_view>

// Whoever asks has a full disk. So the sum comes first, and behind each part of it what to type; then what there is,
// the surest and largest first, each with the sentences that say whether it may go.

using namespace KestrelCore;

namespace KestrelCLI {

namespace {

std::string_view meaningOf(ReclaimCertainty certainty) {
    switch (certainty) {
    case ReclaimCertainty::regenerates: return "made again from what is on this disk";
    case ReclaimCertainty::downloadsAgain: return "comes back over the network";
    case ReclaimCertainty::yours: break;
    }
    return "comes back from nowhere: look before it goes";
}

/// Lines that all begin with `indent` blanks.
void writeWrapped(const Session& session, std::string_view text, std::size_t indent, Style style) {
    const std::size_t columns = session.columns();
    std::string lines{text};
    if (columns > indent) lines = wrappedWords(text, columns - indent, 0);
    for (std::size_t begin = 0; begin <= lines.size();) {
        const std::size_t end = std::min(lines.find('\n', begin), lines.size());
        session.out << std::string(indent, ' ')
                    << session.painted(style, std::string_view{lines}.substr(begin, end - begin)) << '\n';
        begin = end + 1;
    }
}

std::string itemText(const SuggestionGroup& group) {
    return group.itemsBelow == 0
               ? ByteFormat::items(group.itemCount)
               : fmt::format("{} with {} in {}", ByteFormat::items(group.itemCount),
                             ByteFormat::count(group.itemsBelow), group.itemCount == 1 ? "it" : "them");
}

std::vector<const SuggestionGroup*> groupsOf(const Suggestions& suggestions, ReclaimCertainty certainty) {
    std::vector<const SuggestionGroup*> groups;
    for (const SuggestionGroup& group : suggestions.groups) {
        if (group.rule.certainty == certainty) groups.push_back(&group);
    }
    return groups;
}

void writeSums(const Session& session, const Suggestions& suggestions) {
    Table table{{{.title = "", .align = Table::Align::right}, {.title = ""}, {.title = "", .shrinks = true}}};
    for (const ReclaimCertainty certainty : allReclaimCertainties) {
        if (groupsOf(suggestions, certainty).empty()) continue;
        const bool isYours = certainty == ReclaimCertainty::yours;
        table.addRow(
            {{session.size(suggestions.bytesOf(certainty)), Style::heading},
             {std::string{rawValue(certainty)}},
             {fmt::format("kestrel suggest {}{}", wordFor(certainty), isYours ? "" : " --trash"), Style::match}});
    }
    table.write(session);
}

}  // namespace

std::string wordFor(ReclaimCertainty certainty) {
    std::string word{rawValue(certainty)};
    std::ranges::replace(word, ' ', '-');
    return word;
}

void writeRule(const Session& session, const ReclaimRule& rule) {
    writeWrapped(session, fmt::format("{} {}", session.shown(rule.why.view()), session.shown(rule.comesBack.view())), 2,
                 Style::quiet);
    if (rule.ownersCommand)
        writeWrapped(session, fmt::format("Its own way: {}", session.shown(rule.ownersCommand->view())), 2,
                     Style::plain);
}

void writeOverview(const Session& session, const Suggestions& suggestions, std::size_t mostGroups) {
    const std::int64_t yours = suggestions.bytesOf(ReclaimCertainty::yours);
    const std::int64_t others =
        suggestions.bytesOf(ReclaimCertainty::regenerates) + suggestions.bytesOf(ReclaimCertainty::downloadsAgain);
    const std::string size = session.size(others);
    writeWrapped(session,
                 others == 0  ? fmt::format("{} may go, if you say so.", session.size(yours))
                 : yours == 0 ? fmt::format("{} can go, and comes back when it is needed.", size)
                              : fmt::format("{} can go, and comes back when it is needed; {} more if you say so.", size,
                                            session.size(yours)),
                 0, Style::heading);
    session.out << '\n';
    writeSums(session, suggestions);
    for (const ReclaimCertainty certainty : allReclaimCertainties) {
        const std::vector<const SuggestionGroup*> groups = groupsOf(suggestions, certainty);
        if (groups.empty()) continue;
        session.out << '\n';
        std::string title{rawValue(certainty)};
        title.front() = static_cast<char>(title.front() - 'a' + 'A');
        writeWrapped(session, fmt::format("{}: {}", title, meaningOf(certainty)), 0, Style::heading);
        std::int64_t rest = 0;
        std::size_t shown = 0;
        for (const SuggestionGroup* group : groups) {
            if (shown == mostGroups) {
                rest += group->freedBytes;
                continue;
            }
            ++shown;
            session.out << '\n';
            const std::string head =
                fmt::format("{}  {}  {}", session.size(group->freedBytes), group->rule.identifier.view(),
                            session.shown(group->rule.title.view()));
            writeWrapped(session, head, 0, Style::plain);
            writeRule(session, group->rule);
        }
        const std::size_t left = groups.size() - shown;
        if (left > 0)
            session.out << fmt::format("\n{}  {} (--all)\n", session.size(rest),
                                       left == 1 ? "1 more rule" : fmt::format("{} more rules", left));
    }
}

void writeGroup(const Session& session, const SuggestionGroup& group, std::size_t mostItems, Date now) {
    writeWrapped(session,
                 fmt::format("{}  {}  {}", session.size(group.freedBytes), group.rule.identifier.view(),
                             session.shown(group.rule.title.view())),
                 0, Style::heading);
    writeWrapped(
        session,
        fmt::format("{} ({}), {}.", rawValue(group.rule.certainty), meaningOf(group.rule.certainty), itemText(group)),
        2, Style::quiet);
    writeRule(session, group.rule);
    session.out << '\n';
    Table table{
        {{.title = "SIZE", .align = Table::Align::right}, {.title = "CHANGED"}, {.title = "ITEM", .shrinks = true}}};
    const std::size_t count = std::min(mostItems, group.items.size());
    for (std::size_t i = 0; i < count; ++i) {
        const SuggestedItem& item = group.items[i];
        table.addRow(
            {{session.size(item.freedBytes)},
             {item.newestChange ? age(*item.newestChange, now) : "–", Style::quiet},
             {session.shownPath(item.record.path().view()), item.record.isContainer() ? Style::folder : Style::file}});
    }
    table.write(session);
    if (group.itemCount > static_cast<std::int64_t>(count))
        session.out << fmt::format("  and {} more (--all)\n",
                                   ByteFormat::items(group.itemCount - static_cast<std::int64_t>(count)));
}

void writeNext(const Session& session, const std::vector<NextCommand>& commands) {
    if (commands.empty()) return;
    session.out << '\n';
    Table table{{{.title = ""}, {.title = "", .shrinks = true}}};
    for (const NextCommand& each : commands) table.addRow({{each.command, Style::match}, {each.meaning, Style::quiet}});
    table.write(session);
}

std::vector<std::string> matchLines(const ReclaimRule& rule, SizeUnits units) {
    const auto joined = [](const std::vector<Text>& texts, std::string_view last) {
        std::string all;
        for (std::size_t i = 0; i < texts.size(); ++i) {
            if (i > 0) all += i + 1 == texts.size() ? fmt::format(" {} ", last) : std::string{", "};
            all += texts[i].view();
        }
        return all;
    };
    std::vector<std::string> lines;
    for (const ReclaimMatch& match : rule.matches) {
        std::string line;
        if (!match.places.empty()) {
            line = joined(match.places, "and");
            if (match.take == ReclaimMatch::Take::contents) {
                const std::string what = !match.names.empty()  ? joined(match.names, "and")
                                         : !match.takesFolders ? std::string{"files"}
                                         : !match.takesFiles   ? std::string{"folders"}
                                                               : std::string{"everything"};
                line = fmt::format("{} in {}", what, line);
            }
        } else if (!match.folders.empty()) {
            line = fmt::format("folders {}", joined(match.folders, "or"));
            if (!match.beside.empty()) line += fmt::format(" beside {}", joined(match.beside, "or"));
            if (!match.holds.empty())
                line += fmt::format("{} that hold {}", match.beside.empty() ? "" : " and", joined(match.holds, "or"));
        } else if (!match.files.empty()) {
            line = fmt::format("files {}", joined(match.files, "or"));
            if (!match.inPlaces.empty()) line += fmt::format(" below {}", joined(match.inPlaces, "and"));
        } else if (match.finder) {
            line = rawValue(*match.finder);
            std::ranges::replace(line, '-', ' ');
        }
        if (match.smallestBytes > 0)
            line += fmt::format(" of {} and more", ByteFormat::rounded(match.smallestBytes, units));
        lines.push_back(std::move(line));
    }
    return lines;
}

void writeCatalogue(const Session& session, const std::vector<ReclaimRule>& rules) {
    for (const ReclaimCertainty certainty : allReclaimCertainties) {
        const auto isThis = [&](const ReclaimRule& rule) { return rule.certainty == certainty; };
        if (std::ranges::none_of(rules, isThis)) continue;
        writeWrapped(session, fmt::format("{}: {}", rawValue(certainty), meaningOf(certainty)), 0, Style::heading);
        session.out << '\n';
        std::vector<const ReclaimRule*> sorted;
        for (const ReclaimRule& rule : rules) {
            if (isThis(rule)) sorted.push_back(&rule);
        }
        std::ranges::sort(sorted, {}, [](const ReclaimRule* rule) { return rule->identifier.view(); });
        for (const ReclaimRule* rule : sorted) {
            std::string head = fmt::format("{}  {}", rule->identifier.view(), session.shown(rule->title.view()));
            if (rule->smallestAge.count() > 0)
                head += fmt::format(", unchanged for {} days", rule->smallestAge.count());
            writeWrapped(session, head, 0, Style::plain);
            for (const std::string& line : matchLines(*rule, session.options.units))
                writeWrapped(session, session.shown(line), 2, Style::quiet);
        }
        session.out << '\n';
    }
}

}  // namespace KestrelCLI
