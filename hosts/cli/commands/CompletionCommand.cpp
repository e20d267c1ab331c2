#include "commands/Commands.hpp"

#include "commands/CompletionPoint.hpp"
#include "commands/CompletionScripts.hpp"
#include "commands/CompletionValues.hpp"
#include "output/TerminalText.hpp"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

// Completion has two halves. What a shell loads (`kestrel completion bash`) knows nothing of kestrel: at each key it
// hands the words of the line to `kestrel complete-words -- WORDS…` and shows the answer. So what can be completed is
// what this very program takes. The answer:
//
//     words                 or "files" or "folders", where the shell is to complete names of these itself
//     WORD<tab>ABOUT        whole words with which the last one may be replaced
//
// One line each, so a word with a new line in it could pass for two: names that hold anything that is not shown, or are
// no text, are left out. They can be typed by nobody, and their processes have numbers.

namespace KestrelCLI {

namespace {

/// What a word is, in one short line.
std::string shortLine(const Session& session, std::string_view about) {
    constexpr std::size_t mostColumns = 60;
    const std::string shown = session.shown(about);
    if (TerminalText::width(shown) <= mostColumns) return shown;
    const bool isASCII = session.characters() == Characters::ascii;
    std::string line{TerminalText::wrapped(shown, mostColumns - 3).front()};
    while (line.ends_with(' ')) line.pop_back();
    return line + (isASCII ? "..." : "…");
}

/// Whether a shell may offer it: a text in which everything is shown.
bool canBeOffered(const std::string& word) {
    std::string plain = word;
    std::erase(plain, '\\');
    return !word.empty() && TerminalText::escaped(plain) == plain && plain.find("\uFFFD") == std::string::npos;
}

std::vector<CompletionWord> commandWords(CLI::App& app) {
    std::vector<CompletionWord> words;
    for (const CLI::App* each : app.get_subcommands([](CLI::App* some) { return !some->get_group().empty(); }))
        words.push_back({each->get_name(), each->get_description()});
    return words;
}

/// The options that may still come. A short name only where it is the only one, or is typed already.
void addOptionWords(CLI::App& owner, const CompletionPoint& point, bool answersFromScan,
                    std::vector<CompletionWord>& words) {
    for (const CLI::Option* option : owner.get_options()) {
        const bool isRepeated = option->get_multi_option_policy() == CLI::MultiOptionPolicy::TakeAll;
        if (option->get_group().empty() || (point.options.contains(option) && !isRepeated)) continue;
        if (option->check_lname("at") && !answersFromScan) continue;
        for (const std::string& name : option->get_lnames()) words.push_back({"--" + name, option->get_description()});
        for (const std::string& name : option->get_snames()) {
            if (option->get_lnames().empty() || point.typed == "-" + name)
                words.push_back({"-" + name, option->get_description()});
        }
    }
}

struct Answer {
    ValueKind kind = ValueKind::text;
    std::vector<CompletionWord> words;
};

Answer answerTo(const Session& session, CLI::App& app, const CompletionPoint& point) {
    Answer answer;
    switch (point.part) {
    case CompletionPoint::Part::command: answer.words = commandWords(app); break;
    case CompletionPoint::Part::option: {
        const Command* command = point.command == nullptr ? nullptr : definitionOf(*point.command);
        if (point.command != nullptr) addOptionWords(*point.command, point, true, answer.words);
        addOptionWords(app, point, command != nullptr && command->readsSavedScan, answer.words);
        break;
    }
    case CompletionPoint::Part::value:
        if (point.option == nullptr) break;
        answer.kind = kindOf(*point.option);
        for (const std::string& word : usualWords(*point.option)) answer.words.push_back({word, ""});
        break;
    case CompletionPoint::Part::operand: {
        const Command* command = definitionOf(*point.command);
        if (command == nullptr || point.operands.size() >= command->mostOperands) break;
        answer.kind = command->operandKind;
        if (answer.kind == ValueKind::command) answer.words = commandWords(app);
        for (const std::string& word : command->operandWords) answer.words.push_back({word, ""});
        break;
    }
    }
    const std::vector<CompletionWord> live = completionValues(session, answer.kind, point.typed);
    answer.words.insert(answer.words.end(), live.begin(), live.end());
    // What every command has comes last, and once.
    const auto isHelp = [](const CompletionWord& each) { return each.word == "--help"; };
    if (const auto help = std::ranges::find_if(answer.words, isHelp); help != answer.words.end()) {
        const CompletionWord last = *help;
        std::erase_if(answer.words, isHelp);
        answer.words.push_back(last);
    }
    // What begins with a dash would be taken for an option.
    if (point.part != CompletionPoint::Part::option)
        std::erase_if(answer.words, [](const CompletionWord& each) { return each.word.starts_with('-'); });
    return answer;
}

ExitCode completeWords(Session& session, CLI::App& app, const Operands& words) {
    CompletionPoint point = completionPoint(app, words);
    if (point.options.contains(app.get_option_no_throw("--store"))) session.options.store = "";
    const Answer answer = answerTo(session, app, point);
    std::ostream& out = session.raw();
    out << (answer.kind == ValueKind::file ? "files" : answer.kind == ValueKind::folder ? "folders" : "words") << '\n';
    for (const CompletionWord& each : answer.words) {
        if (!canBeOffered(each.word)) continue;
        out << point.stem << each.word << '\t' << shortLine(session, each.about) << '\n';
    }
    return ExitCode::done;
}

}  // namespace

void addCompletionCommand(CLI::App& app, Session& session) {
    addCommand(app,
               {.name = "completion",
                .operands = "bash|zsh|fish",
                .description = "Writes what makes a shell complete kestrel's commands, options and their values.",
                .examples = {"source <(kestrel completion bash)", "kestrel completion zsh > ~/.zfunc/_kestrel",
                             "kestrel completion fish > ~/.config/fish/completions/kestrel.fish"},
                .fewestOperands = 1,
                .mostOperands = 1,
                .operandWords = {"bash", "zsh", "fish"},
                .mendsSettings = true},
               [&session](const Operands& operands) {
                   const std::string_view script = completionScript(operands.front());
                   if (script.empty()) {
                       throw UsageError{fmt::format("“{}” is no shell that kestrel knows; bash, zsh and fish are.",
                                                    operands.front())};
                   }
                   session.raw() << script;
                   return ExitCode::done;
               });
    addCommand(app,
               {.name = "complete-words",
                .operands = "-- WORDS…",
                .description = "Tells a shell what the last word may become.",
                .examples = {},
                .mostOperands = Command::unlimited,
                .takesWords = true,
                .mendsSettings = true},
               [&app, &session](const Operands& operands) { return completeWords(session, app, operands); })
        .hide();
}

}  // namespace KestrelCLI
