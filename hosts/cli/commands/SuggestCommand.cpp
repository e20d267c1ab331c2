#include "commands/Commands.hpp"

#include "commands/Deletion.hpp"
#include "commands/OptionValue.hpp"
#include "commands/Suggestion.hpp"
#include "output/JSONOutput.hpp"
#include "output/ModelJSON.hpp"
#include "output/NearNames.hpp"
#include "output/SuggestionList.hpp"
#include "store/HistoryAccess.hpp"
#include "store/SavedScan.hpp"
#include "terminal/Interruption.hpp"
#include "terminal/InterruptionWatch.hpp"

#include "KestrelCore/Deletion/DeletionCoordinator.hpp"
#include "KestrelCore/Reclaim/Suggestions.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

// What can go: all of it in an overview, a rule by its name with every item, and with --trash or --remove these items
// on their way through the same plan and question as those of trash and remove.

using namespace KestrelCore;

namespace KestrelCLI {

namespace {

struct SuggestOptions {
    std::optional<std::string> path;
    bool trashes = false;
    bool removes = false;
    bool lists = false;
    bool all = false;
    std::optional<std::size_t> limit;
    DeletionOptions deletion;
};

constexpr std::size_t usualGroups = 6;  ///< of one certainty
constexpr std::size_t usualItems = 100;

/// The rules that were probably meant by a word that is none: those of a similar name, else those whose titles have it.
std::vector<std::string> rulesLike(const std::string& word, const ReclaimCatalogue& catalogue) {
    constexpr std::size_t most = 5;
    std::vector<std::string> names;
    for (const ReclaimRule& rule : catalogue.rules()) names.push_back(rule.identifier.string());
    for (const ReclaimCertainty each : allReclaimCertainties) names.push_back(wordFor(each));
    std::string wanted = lowercasedASCII(word);
    if (wanted == "vm" || wanted == "vms") {
        wanted = "virtual machine";
    } else if (std::vector<std::string> near = nearNames(word, names); !near.empty()) {
        return near;
    }
    std::vector<std::string> titled;
    if (wanted.size() < 3) return titled;
    for (const ReclaimRule& rule : catalogue.rules()) {
        const bool hasIt = rule.identifier.view().find(wanted) != std::string_view::npos ||
                           lowercasedASCII(rule.title.view()).find(wanted) != std::string::npos;
        if (hasIt && titled.size() < most) titled.push_back(rule.identifier.string());
    }
    return titled;
}

/// Which rules the operands mean: identifiers, or all of one certainty. Throws `UsageError` for other words, and for
/// what is to be taken away and may not be.
std::vector<Text> chosenRules(const ReclaimCatalogue& catalogue, const Operands& operands, bool takesAway) {
    std::vector<Text> chosen;
    for (const std::string& word : operands) {
        if (const ReclaimRule* rule = catalogue.find(word)) {
            if (takesAway && rule->isShownOnly)
                throw UsageError{fmt::format("What {} finds goes by its owner's own command only: {}",
                                             rule->identifier.view(), rule->ownersCommand->view())};
            chosen.push_back(rule->identifier);
            continue;
        }
        const auto certainty = std::ranges::find(allReclaimCertainties, word, wordFor);
        if (certainty == allReclaimCertainties.end()) {
            const std::string meant = didYouMean(rulesLike(word, catalogue));
            throw UsageError{
                fmt::format("“{}” is no rule. {}", word,
                            meant.empty() ? "kestrel suggest --list shows all; a folder goes with --path." : meant)};
        }
        if (takesAway && *certainty == ReclaimCertainty::yours)
            throw UsageError{"What is yours goes rule by rule: name the rules that you have looked at."};
        for (const ReclaimRule& rule : catalogue.rules()) {
            if (rule.certainty == *certainty && !rule.asksDisk() && !(takesAway && rule.isShownOnly))
                chosen.push_back(rule.identifier);
        }
    }
    return chosen;
}

void writeRuleMembers(JSONOutput& json, const ReclaimRule& rule) {
    json.member("rule", rule.identifier.view());
    json.member("title", rule.title.view());
    json.member("certainty", rawValue(rule.certainty));
    json.member("why", rule.why.view());
    json.member("comesBack", rule.comesBack.view());
    if (rule.ownersCommand) json.member("ownersCommand", rule.ownersCommand->view());
}

void writeJSON(const Session& session, const Generation& scan, const Suggestions& suggestions, std::size_t mostItems) {
    JSONOutput json{session.out};
    writeSnapshot(json, "snapshot", scan);
    json.beginArray("groups");
    for (const SuggestionGroup& group : suggestions.groups) {
        json.beginObject();
        writeRuleMembers(json, group.rule);
        json.member("items", group.itemCount);
        json.member("bytes", group.freedBytes);
        json.beginArray("paths");
        const std::size_t count = std::min(mostItems, group.items.size());
        for (std::size_t i = 0; i < count; ++i) json.element(group.items[i].record.path().view());
        json.endArray();
        json.endObject();
    }
    json.endArray();
    json.member("totalBytes", suggestions.freedBytes);
    json.finish();
}

ExitCode listRules(const Session& session, const ReclaimCatalogue& catalogue, const std::vector<Text>& chosen) {
    std::vector<ReclaimRule> rules;
    std::ranges::copy_if(catalogue.rules(), std::back_inserter(rules), [&](const ReclaimRule& rule) {
        return chosen.empty() || std::ranges::find(chosen, rule.identifier) != chosen.end();
    });
    if (!session.options.json) {
        writeCatalogue(session, rules);
        return ExitCode::done;
    }
    JSONOutput json{session.out};
    json.beginArray("rules");
    for (const ReclaimRule& rule : rules) {
        json.beginObject();
        writeRuleMembers(json, rule);
        json.member("rank", rule.rank);
        json.member("smallestAgeDays", static_cast<std::int64_t>(rule.smallestAge.count()));
        json.beginArray("matches");
        for (const std::string& line : matchLines(rule, session.options.units)) json.element(line);
        json.endArray();
        json.endObject();
    }
    json.endArray();
    json.finish();
    return ExitCode::done;
}

/// What shows the findings of a rule that asks the disk.
std::optional<std::string> otherCommand(const ReclaimRule& rule) {
    for (const ReclaimMatch& match : rule.matches) {
        // No link is ever taken away here, so that a program that every system has does as well.
        if (match.finder == ReclaimFinder::danglingLinks) return "find -L ~ -type l";
        if (match.finder == ReclaimFinder::duplicates) return "kestrel duplicates";
        if (match.finder == ReclaimFinder::applicationResidues) return "kestrel apps --orphans";
    }
    return std::nullopt;
}

void writeText(const Session& session, const ReclaimCatalogue& catalogue, const Suggestions& suggestions,
               const SuggestOptions& options, const std::vector<Text>& chosen) {
    const std::size_t most = options.limit.value_or(options.all      ? std::string::npos
                                                    : chosen.empty() ? usualGroups
                                                                     : usualItems);
    const bool asksScan = chosen.empty() || std::ranges::any_of(chosen, [&](const Text& identifier) {
                              return !catalogue.find(identifier.view())->asksDisk();
                          });
    if (suggestions.groups.empty()) {
        session.out << (chosen.empty() ? "Nothing was found that could go by a rule.\n"
                        : asksScan     ? "Nothing was found.\n"
                                       : "No saved scan tells that; this does:\n");
    } else if (chosen.empty()) {
        writeOverview(session, suggestions, most);
    } else {
        bool isFirst = true;
        for (const SuggestionGroup& group : suggestions.groups) {
            if (!std::exchange(isFirst, false)) session.out << '\n';
            writeGroup(session, group, most, Date::now());
        }
    }
    std::vector<NextCommand> next;
    if (chosen.empty() && !suggestions.groups.empty()) {
        const std::string first = fmt::format("kestrel suggest {}", suggestions.groups.front().rule.identifier.view());
        next.push_back({first, "every item of a rule"});
        next.push_back({first + " --remove", "free at once, without the Trash"});
    } else if (suggestions.freedBytes > 0) {
        session.out << fmt::format("\n{} in all.\n", session.size(suggestions.freedBytes));
        std::string call = "kestrel suggest";
        for (const SuggestionGroup& group : suggestions.groups)
            call += fmt::format(" {}", group.rule.identifier.view());
        constexpr std::size_t mostNamed = 3;
        if (suggestions.groups.size() > mostNamed) call = "kestrel suggest RULE…";
        if (std::ranges::none_of(suggestions.groups,
                                 [](const SuggestionGroup& group) { return group.rule.isShownOnly; })) {
            next.push_back({call + " --trash", "to the Trash"});
            next.push_back({call + " --remove", "free at once"});
        }
    }
    for (const ReclaimRule& rule : catalogue.rules()) {
        const bool isAsked = chosen.empty() || std::ranges::find(chosen, rule.identifier) != chosen.end();
        if (const auto command = otherCommand(rule); command && isAsked)
            next.push_back({*command, session.shown(rule.title.view())});
    }
    writeNext(session, next);
}

ExitCode takeAway(Session& session, const Suggestions& suggestions, const SuggestionSettings& settings,
                  SuggestOptions& options) {
    std::vector<DeletionTarget> targets;
    for (const SuggestionGroup& group : suggestions.groups) {
        // A scan does not say whose an item is, nor what a repository has come to track since.
        std::vector<std::optional<Text>> objections = Suggestions::objections(group.items, settings);
        for (std::size_t i = 0; i < group.items.size(); ++i) {
            const FileRecord& record = group.items[i].record;
            DeletionTarget target{.path = record.path(), .seen = record};
            if (objections[i]) {
                target.refusal = std::move(objections[i]);
                target.code = ExitCode::refused;
            }
            targets.push_back(std::move(target));
        }
    }
    if (targets.empty() && !session.options.json) {
        session.out << "Nothing was found.\n";
        return ExitCode::done;
    }
    options.deletion.mode = options.removes ? DeletionMode::permanent : DeletionMode::trash;
    return runDeletion(session, targets, options.deletion);
}

void checkOptions(const Session& session, const SuggestOptions& options, const Operands& operands) {
    const bool takesAway = options.trashes || options.removes;
    const DeletionOptions& deletion = options.deletion;
    if (session.options.store)
        throw UsageError{"What can go is told of the history; the database that --store names has none."};
    if (takesAway && options.lists) throw UsageError{"--list only shows rules."};
    if (takesAway && operands.empty())
        throw UsageError{"Name the rules whose items are to go, such as: kestrel suggest regenerates --trash"};
    if (takesAway && session.options.at)
        throw UsageError{"--at is for looking: what is to go must be in the newest scan."};
    if (!takesAway && (deletion.isDryRun || deletion.includesHighRisk || deletion.isConfirmed || deletion.confirmation))
        throw UsageError{"--yes, --confirm, --dry-run and --include-high-risk go with --trash or --remove."};
    if (deletion.isConfirmed && !options.trashes)
        throw UsageError{"--yes is too little for what can’t be undone; --confirm DELETE answers instead."};
    if (deletion.confirmation && !options.removes)
        throw UsageError{"--confirm goes with --remove; --yes answers for the Trash."};
    checkConfirmation(deletion.confirmation);
}

ExitCode suggest(Session& session, SuggestOptions& options, const Operands& operands) {
    checkOptions(session, options, operands);
    const ReclaimCatalogue catalogue = ReclaimCatalogue::standard();
    for (const ReclaimProblem& problem : catalogue.problems())
        session.say(problem.line == 0
                        ? fmt::format("{}: {}", problem.file.view(), problem.message.view())
                        : fmt::format("{}:{}: {}", problem.file.view(), problem.line, problem.message.view()));
    const bool takesAway = options.trashes || options.removes;
    const std::vector<Text> chosen = chosenRules(catalogue, operands, takesAway);
    if (options.lists) return listRules(session, catalogue, chosen);

    SuggestionSettings settings{.places = ReclaimPlaces::ofThisProcess(), .onlyRules = chosen};
    std::optional<SavedScan> scan;
    if (options.path) {
        NamedRecord named = NamedRecord::folder(session, {*options.path});
        settings.folder = named.record.path();
        scan.emplace(std::move(named.scan));
    } else {
        scan.emplace(SavedScan::newestOf(session, settings.places.home));
    }
    if (isImported(scan->summary()))
        throw UsageError{"An imported scan is of another disk; what can go is told of scans of this one."};
    // An overview shows no items; a script gets them all.
    if (chosen.empty() && !session.options.json) settings.mostItems = 0;
    const InterruptionWatch watch;
    settings.cancellation = watch.token();
    const auto suggestions = scan->suggestions(catalogue, settings);
    Interruption::check();
    if (!suggestions) throw Interrupted{};
    if (takesAway) return takeAway(session, *suggestions, settings, options);
    if (session.options.json) {
        writeJSON(session, scan->summary(), *suggestions, options.limit.value_or(std::string::npos));
        return ExitCode::done;
    }
    writeAge(session, scan->summary());
    writeText(session, catalogue, *suggestions, options, chosen);
    return ExitCode::done;
}

}  // namespace

void addSuggestCommand(CLI::App& app, Session& session) {
    const auto options = std::make_shared<SuggestOptions>();
    const CommandOptions command =
        addCommand(app,
                   {.name = "suggest",
                    .operands = "[RULE…]",
                    .description = "Shows what can go, why, and how it comes back; of rules that are named every item.",
                    .examples = {"kestrel suggest", "kestrel suggest cargo-target",
                                 "kestrel suggest regenerates --trash", "kestrel suggest --path ~/projects --json"},
                    .mostOperands = Command::unlimited,
                    .operandKind = ValueKind::rule,
                    .readsSavedScan = true},
                   [&session, options](const Operands& operands) { return suggest(session, *options, operands); });
    command.value("--path", options->path, "Only what lies in this folder")
        .valueName("PATH")
        .check(takes(ValueKind::folder));
    const CommandOption trash =
        command.flag("--trash", options->trashes, "Move what the named rules found to the Trash");
    command.flag("--remove", options->removes, "Remove it for good").excludes(trash);
    command.flag("--list", options->lists, "Show all rules and what they look for");
    const CommandOption all =
        command.flag("-a,--all", options->all, "Show every rule that found something, every item of a named one");
    command
        .value("--limit", options->limit,
               fmt::format("Show N rules of each certainty (default: {}), or N items of a named one ({})", usualGroups,
                           usualItems))
        .valueName("N")
        .check(wholeNumber())
        .excludes(all);
    command.flag("-y,--yes", options->deletion.isConfirmed, "With --trash: do not ask");
    command.value("--confirm", options->deletion.confirmation, "With --remove: DELETE, instead of typing it")
        .valueName("WORD");
    command.flag("--dry-run", options->deletion.isDryRun, "Only show what would go");
    command.flag("--include-high-risk", options->deletion.includesHighRisk, "Let items of high risk go too");
}

}  // namespace KestrelCLI
