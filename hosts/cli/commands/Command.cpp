#include "commands/Command.hpp"

#include "commands/HelpText.hpp"
#include "commands/OptionValue.hpp"
#include "commands/ParseErrorText.hpp"
#include "commands/Suggestion.hpp"
#include "output/ErrorOutput.hpp"
#include "output/VersionOutput.hpp"
#include "output/WordWrap.hpp"
#include "store/ConfigurationFile.hpp"
#include "store/HistoryAccess.hpp"
#include "store/ScanSaving.hpp"
#include "terminal/Interruption.hpp"

#include "KestrelCore/KestrelCore.hpp"

#include <CLI/CLI.hpp>
#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <exception>
#include <iterator>
#include <map>
#include <memory>
#include <optional>
#include <system_error>
#include <utility>

// Who reads what of a command line:
//
//     kestrel --json scan --depth 3 PATH -- -odd-name
//             └─ CLI11: options ┘   └─ operands: here ┘
//
// CLI11 knows options, their values and their help. Operands are kept from it, because it would split, unescape or
// guess at names that a user's files may have; it hands back what it does not know, and what remains is checked here.
// Everything that a command throws ends here as one line and an exit code: commands catch only what they can mend.

using KestrelCore::KestrelError;

namespace KestrelCLI {

namespace {

/// A command within CLI11's tree, with what CLI11 does not keep.
class CommandApp final : public CLI::App {
public:
    CommandApp(Command command, std::function<ExitCode(const Operands&)> run)
        : CLI::App{command.description, command.name}, command_{std::move(command)}, run_{std::move(run)} {
        group("Commands");
        get_help_ptr()->description("Show this help");
        fallthrough();  // the options of every command may stand after its name
        footer(fmt::format("Options of every command: --json, --bytes, --units UNITS, --color WHEN, --store FILE{}, "
                           "--no-config, -h, -V (see kestrel --help).",
                           command_.readsSavedScan ? ", --at WHEN" : ""));
    }

    [[nodiscard]] const Command& command() const { return command_; }

    [[nodiscard]] ExitCode run(const Operands& operands) const {
        if (operands.size() < command_.fewestOperands) {
            throw UsageError{fmt::format("Something is missing: kestrel {} {}", command_.name, command_.operands)};
        }
        if (operands.size() > command_.mostOperands) {
            throw UsageError{
                fmt::format("“{}” is too much for kestrel {}.", operands[command_.mostOperands], command_.name)};
        }
        // As an unset variable of a script leaves one. It names nothing, and must not come to mean everything.
        if (!command_.takesWords && std::ranges::find(operands, "") != operands.end()) {
            throw UsageError{
                fmt::format("An empty operand names nothing: kestrel {} {}", command_.name, command_.operands)};
        }
        return run_(operands);
    }

private:
    Command command_;
    std::function<ExitCode(const Operands&)> run_;
};

/// All that there is to read about the program, or about one command, in lines of the session's width.
class HelpFormatter final : public CLI::FormatterBase {
public:
    explicit HelpFormatter(std::size_t columns) : columns_{columns} {}

    std::string make_help(const CLI::App* app, std::string /*name*/, CLI::AppFormatMode /*mode*/) const override {
        const auto* command = dynamic_cast<const CommandApp*>(app);
        std::string text = command == nullptr ? "Usage: kestrel COMMAND [OPTIONS]" : usage(command->command());
        text += "\n\n" + wrappedWords(app->get_description(), columns_, 0) + '\n';
        if (const std::string commands = commandLines(*app, columns_); !commands.empty())
            text += "\nCommands:\n" + commands;
        text += "\nOptions:\n" + optionLines(*app, columns_);
        return text + '\n' + wrappedWords(app->get_footer(), columns_, 0) + '\n' + examples(command);
    }

private:
    static std::string usage(const Command& command) {
        return fmt::format("Usage: kestrel {} [OPTIONS]{}{}", command.name, command.operands.empty() ? "" : " ",
                           command.operands);
    }

    [[nodiscard]] std::string examples(const CommandApp* command) const {
        const std::vector<std::string> general{"kestrel scan ~/Downloads", "kestrel search huge videos",
                                               "kestrel scan --json /srv | python3 -m json.tool"};
        const std::vector<std::string>& lines = command == nullptr ? general : command->command().examples;
        std::string text = lines.empty() ? "" : "\nExamples:\n";
        for (const std::string& example : lines) text += exampleLine(example, columns_);
        return text;
    }

    std::size_t columns_;
};

constexpr const char* shortHelp = R"(kestrel scan            shows where the space in your home folder went
kestrel scan FOLDER     the same for another folder
kestrel --help          everything else
)";

void addGlobalOptions(const CommandOptions& program, GlobalOptions& options) {
    program.value("--store", options.store, "Work on a snapshot database, which holds one scan, instead of the history")
        .valueName("FILE")
        .check(takes(ValueKind::file));
    program
        .value("--at", options.at,
               "Answer from an older scan: a number from kestrel history, a date, or an age such as 7d")
        .valueName("WHEN")
        .check(takes(ValueKind::scan));
    program.flag("--json", options.json, "Print one JSON object instead of text");
    program.flag("--bytes", options.exactBytes, "Show sizes to the byte");
    const std::map<std::string, SizeUnits> units{{"si", SizeUnits::decimal}, {"iec", SizeUnits::binary}};
    const CommandOption named =
        program.choice("--units", options.units, units,
                       "Sizes in decimal units, si (1 kB = 1000 bytes, as is usual), or in binary "
                       "ones, iec (1 KiB = 1024 bytes)");
    named.valueName("si|iec");
    const CommandOption binary = program.flag(
        "--iec", [&options] { options.units = SizeUnits::binary; }, "The same as --units iec");
    const CommandOption decimal = program.flag(
        "--si", [&options] { options.units = SizeUnits::decimal; }, "The same as --units si");
    decimal.excludes(binary).excludes(named);
    binary.excludes(named);
    const std::map<std::string, ColorChoice> choices{
        {"auto", ColorChoice::automatic}, {"always", ColorChoice::always}, {"never", ColorChoice::never}};
    program.choice("--color", options.color, choices, "Colour: auto (on a terminal), always or never")
        .valueName("WHEN");
    program.flag("--no-config", options.ignoresConfiguration, "Take no notice of the configuration file");
}

/// What holds: by options first, then by the environment, then by the configuration file.
void settle(const CLI::App& app, Session& session) {
    Settings settings;
    for (const char* name : {"--units", "--iec", "--si"}) {
        if (app.count(name) > 0) settings.units.offer(SettingSource::option, session.options.units, name);
    }
    if (app.count("--color") > 0) settings.color.offer(SettingSource::option, session.options.color, "--color");
    const char* const noColor = std::getenv("NO_COLOR");
    if (noColor != nullptr && *noColor != '\0')
        settings.color.offer(SettingSource::environment, ColorChoice::never, "NO_COLOR");
    if (!session.options.ignoresConfiguration) {
        settings.file = session.configurationPath;
        readConfigurationFile(session.home, settings);
    }
    session.options.units = settings.units.value;
    session.options.color = settings.color.value;
    session.settings = std::move(settings);
}

/// Throws where the configuration file has something that is not understood, about the first of it.
void checkSettings(const Session& session) {
    const std::vector<SettingProblem>& problems = session.settings.problems;
    if (problems.empty()) return;
    throw UsageError{fmt::format("{}{} kestrel config tells what holds, and --no-config goes without the file.",
                                 sentenceOf(session.settings, problems.front()),
                                 problems.size() == 1 ? "" : fmt::format(" (And {} more.)", problems.size() - 1))};
}

/// What programs get to know of the cases.
std::string_view nameOf(KestrelError::Case errorCase) {
    switch (errorCase) {
    case KestrelError::Case::accessDenied: return "accessDenied";
    case KestrelError::Case::safetyViolation: return "safetyViolation";
    case KestrelError::Case::staleItem: return "staleItem";
    case KestrelError::Case::unavailable: break;
    }
    return "unavailable";
}

/// Runs the command and turns what it throws into a line and an exit code.
ExitCode runCatching(const CommandApp& command, const Operands& operands, const Session& session) {
    try {
        if (session.options.at && !command.command().readsSavedScan) {
            throw UsageError{
                fmt::format("--at chooses the one saved scan that is answered from, which kestrel {} does not do.",
                            command.command().name)};
        }
        if (!command.command().mendsSettings) checkSettings(session);
        // A word that names no scan is wrong whatever is asked.
        checkAtOption(session);
        return command.run(operands);
    } catch (const UsageError& error) {
        tellError(session, {"wrongUsage", error.what()});
        return ExitCode::wrongUsage;
    } catch (const InterruptedScan& interrupted) {
        tellError(session, {.code = "interrupted", .message = interrupted.what(), .kept = interrupted.kept()});
        return ExitCode::interrupted;
    } catch (const Interrupted& interrupted) {
        tellError(session, {"interrupted", interrupted.what()});
        return ExitCode::interrupted;
    } catch (const PathError& error) {
        tellError(session, {"failed", error.what(), error.path()});
        return ExitCode::failed;
    } catch (const KestrelError& error) {
        tellError(session, {nameOf(error.errorCase()), error.what()});
        return error.errorCase() == KestrelError::Case::safetyViolation ? ExitCode::refused : ExitCode::failed;
    } catch (const std::exception& error) {
        tellError(session, {"failed", error.what()});
        return ExitCode::failed;
    }
}

/// The same. A request to stop shows in the exit code even where it came too late to stop anything.
ExitCode runGuarded(const CommandApp& command, const Operands& operands, const Session& session) {
    const ExitCode code = runCatching(command, operands, session);
    return Interruption::isRequested() ? combined(code, ExitCode::interrupted) : code;
}

/// Says what is wrong with the command line and where to read more; `command` may be empty.
ExitCode wrongUsage(const Session& session, std::string_view message, std::string_view command) {
    tellError(session, {"wrongUsage", std::string{message}});
    session.say(command.empty() ? "kestrel --help tells what there is."
                                : fmt::format("kestrel {} --help tells more.", command));
    return ExitCode::wrongUsage;
}

/// The option whose value is the next argument; null for any other argument.
const CLI::Option* optionWithValue(const CLI::App& app, const std::string& argument) {
    if (argument.size() < 2 || !argument.starts_with('-')) return nullptr;
    const auto ofOwner = [&](const CLI::App& owner) {
        const CLI::Option* option = owner.get_option_no_throw(argument);
        return option != nullptr && option->get_items_expected_max() > 0 ? option : nullptr;
    };
    if (const CLI::Option* option = ofOwner(app)) return option;
    for (const CLI::App* command : app.get_subcommands(nullptr)) {
        if (const CLI::Option* option = ofOwner(*command)) return option;
    }
    return nullptr;
}

/// That an option is given an empty value, about the first of them. CLI11 would take the argument after "--store=" for
/// the value, and so a folder that is to be scanned for the place of the store.
std::optional<std::string> emptyValue(const std::vector<std::string>& arguments, const CLI::App& app) {
    for (std::size_t index = 0; index < arguments.size(); ++index) {
        const std::string& argument = arguments[index];
        if (const CLI::Option* option = optionWithValue(app, argument)) {
            if (++index < arguments.size() && arguments[index].empty()) return missingValue(argument, option);
        } else if (argument.starts_with("--") && argument.find('=') == argument.size() - 1) {
            const std::string name = argument.substr(0, argument.size() - 1);
            return missingValue(name, optionWithValue(app, name));
        }
    }
    return std::nullopt;
}

/// CLI11 ends a command at the argument "++" and drops it; no option of it changes that. Every "++" gets a text that no
/// other argument has while CLI11 reads, and its own back among the operands.
class PlusSigns {
public:
    PlusSigns(std::vector<std::string>& arguments, const CLI::App& app) {
        while (std::ranges::find(arguments, substitute_) != arguments.end()) substitute_ += '+';
        std::vector<std::string> safe;
        for (std::string& argument : arguments) {
            if (argument != plusSigns) {
                safe.push_back(std::move(argument));
            } else if (!safe.empty() && optionWithValue(app, safe.back()) != nullptr) {
                safe.back() += "=++";  // an option's value is safe in one piece with the option
            } else {
                safe.push_back(substitute_);
            }
        }
        arguments = std::move(safe);
    }

    void putBack(Operands& operands) const { std::ranges::replace(operands, substitute_, plusSigns); }

private:
    static constexpr const char* plusSigns = "++";

    std::string substitute_ = "+++";
};

std::vector<std::string> namesOfCommands(const CLI::App& app) {
    std::vector<std::string> names;
    for (const CLI::App* command : app.get_subcommands([](const CLI::App* each) { return !each->get_group().empty(); }))
        names.push_back(command->get_name());
    return names;
}

/// That there is no such command, and which was probably meant, or all there are.
std::string unknownCommand(const std::string& word, const CLI::App& app) {
    const std::vector<std::string> names = namesOfCommands(app);
    const std::string problem = fmt::format("There is no command “{}”.", word);
    if (const auto sentence = sentenceForCommand(word)) return problem + ' ' + *sentence;
    if (const std::string meant = didYouMeanOneOf(word, names); !meant.empty()) return problem + ' ' + meant;
    return fmt::format("{} There are {}.", problem, fmt::join(names, ", "));
}

/// The same of an option; `command` is null where none was named.
std::string unknownOption(const std::string& option, const CLI::App& app, const CommandApp* command) {
    const std::string name = option.substr(0, option.find('='));
    std::vector<std::string> own;
    std::vector<std::string> all;
    const auto add = [](const CLI::App& owner, std::vector<std::string>& names) {
        for (const CLI::Option* each :
             owner.get_options([](const CLI::Option* o) { return !o->get_group().empty(); })) {
            for (const std::string& known : each->get_lnames()) names.push_back("--" + known);
        }
    };
    if (command != nullptr) add(*command, own);
    all = own;
    add(app, all);
    const std::string problem = fmt::format("There is no option {}.", option);
    if (const auto sentence = sentenceForOption(name, command == nullptr ? "" : command->command().name))
        return problem + ' ' + *sentence;
    if (name.starts_with("--")) {
        if (const std::string meant = didYouMeanOneOf(name, all); !meant.empty()) return problem + ' ' + meant;
    }
    const std::string dash = "(A name that begins with a dash goes after --.)";
    if (command == nullptr) return problem + ' ' + dash;
    return fmt::format("{} {} takes {}. {}", problem, command->command().name, fmt::join(own, ", "), dash);
}

void addHelpCommand(CLI::App& app, Session& session) {
    addCommand(app,
               {.name = "help",
                .operands = "[COMMAND]",
                .description = "Shows this help, or that of one command.",
                .examples = {"kestrel help scan"},
                .mostOperands = 1,
                .operandKind = ValueKind::command,
                .mendsSettings = true},
               [&app, &session](const Operands& operands) {
                   const CLI::App* shown = &app;
                   if (!operands.empty()) {
                       const auto named = app.get_subcommands(
                           [&](const CLI::App* each) { return each->get_name() == operands.front(); });
                       if (named.empty()) throw UsageError{unknownCommand(operands.front(), app)};
                       shown = named.front();
                   }
                   session.out << app.get_formatter()->make_help(shown, "", CLI::AppFormatMode::Normal);
                   return ExitCode::done;
               });
}

ExitCode parseAndRun(std::vector<std::string> arguments, Session& session, const std::vector<CommandAdder>& commands) {
    // CLI11 sees only what stands before "--"; the rest are operands, whatever they look like.
    const auto mark = std::ranges::find(arguments, "--");
    Operands afterMark;
    if (mark != arguments.end()) afterMark.assign(std::next(mark), arguments.end());
    arguments.erase(mark, arguments.end());

    CLI::App app{"Shows where disk space goes and helps to reclaim it safely.", "kestrel"};
    // Known before the line is read: what is wrong with it is told as JSON, too.
    session.options.json = std::ranges::find(arguments, "--json") != arguments.end();
    constexpr std::size_t usualColumns = 80;
    app.formatter(std::make_shared<HelpFormatter>(session.terminal.isOutput ? session.terminal.columns : usualColumns));
    app.get_help_ptr()->description("Show this help");
    app.set_version_flag("-V,--version", "", "Tell version, commit and libraries");
    app.require_subcommand(0, 1);
    app.allow_extras();
    app.footer("Options may stand before or after the command. kestrel COMMAND --help (or kestrel help COMMAND) tells "
               "more about one. Everything after -- is taken as it is, so that a name may begin with a dash.");
    addGlobalOptions(CommandOptions{app}, session.options);
    for (const CommandAdder add : commands) add(app, session);
    addHelpCommand(app, session);

    // The command that was named, once the line is read; null before, and when none was.
    const auto chosen = [&]() -> const CommandApp* {
        const auto parsed = app.get_subcommands();
        return parsed.empty() ? nullptr : dynamic_cast<const CommandApp*>(parsed.front());
    };
    const auto chosenName = [&] { return chosen() == nullptr ? std::string{} : chosen()->command().name; };
    if (const auto problem = emptyValue(arguments, app)) return wrongUsage(session, *problem, "");
    const PlusSigns plusSigns{arguments, app};
    try {
        std::ranges::reverse(arguments);  // as CLI11 takes them
        app.parse(std::move(arguments));
    } catch (const CLI::CallForHelp&) {
        // Help about a command that there is not.
        const Operands named = app.remaining(true);
        if (chosen() == nullptr && !named.empty() && !named.front().starts_with('-'))
            return wrongUsage(session, unknownCommand(named.front(), app), "");
        const CLI::App* shown = chosen() == nullptr ? &app : chosen();
        session.out << app.get_formatter()->make_help(shown, "", CLI::AppFormatMode::Normal);
        return ExitCode::done;
    } catch (const CLI::CallForVersion&) {
        writeVersion(session);
        return ExitCode::done;
    } catch (const CLI::ParseError& error) {
        return wrongUsage(session, parseErrorText(error, app), chosenName());
    }

    // What CLI11 made nothing of, the options of no command among it: those are told, the rest are operands.
    Operands operands = app.remaining(true);
    plusSigns.putBack(operands);
    const auto isOption = [](const std::string& text) { return text.size() > 1 && text.front() == '-'; };
    if (const auto unknown = std::ranges::find_if(operands, isOption); unknown != operands.end()) {
        // As it is with many programs, where nothing else is asked for.
        if (*unknown == "-v" && operands.size() == 1 && chosen() == nullptr) {
            writeVersion(session);
            return ExitCode::done;
        }
        return wrongUsage(session, unknownOption(*unknown, app, chosen()), chosenName());
    }
    operands.insert(operands.end(), std::make_move_iterator(afterMark.begin()),
                    std::make_move_iterator(afterMark.end()));
    // Without a command nothing is done: who types the name alone sees the three lines that matter.
    if (chosen() == nullptr) {
        if (!operands.empty()) return wrongUsage(session, unknownCommand(operands.front(), app), "");
        session.out << shortHelp;
        return ExitCode::done;
    }
    settle(app, session);
    return runGuarded(*chosen(), operands, session);
}

/// What standard output says to one more try, such as "No space left on device"; empty where it says nothing. The first
/// failure's own reason is gone: streams keep none.
std::string whyNotWritten(const Session& session) {
    std::ostream& last = session.rawOutput != nullptr ? *session.rawOutput : session.out;
    last.clear();
    errno = 0;
    last << '\n';
    last.flush();
    return last.good() || errno == 0 ? "" : std::generic_category().message(errno);
}

}  // namespace

CommandOptions addCommand(CLI::App& app, const Command& command, std::function<ExitCode(const Operands&)> run) {
    auto added = std::make_shared<CommandApp>(command, std::move(run));
    added->formatter(app.get_formatter());
    return CommandOptions{*app.add_subcommand(std::move(added))};
}

const Command* definitionOf(const CLI::App& app) {
    const auto* command = dynamic_cast<const CommandApp*>(&app);
    return command == nullptr ? nullptr : &command->command();
}

ExitCode runCommandLine(std::vector<std::string> arguments, Session& session,
                        const std::vector<CommandAdder>& commands) {
    const ExitCode code = parseAndRun(std::move(arguments), session, commands);
    // What was printed may still be on its way: a full disk or a reader that went away shows here.
    if (session.flush()) return code;
    if (Interruption::isPipeClosed()) return combined(code, ExitCode::failed);
    const std::string reason = whyNotWritten(session);
    session.say(reason.empty() ? "The results could not be written."
                               : fmt::format("The results could not be written: {}.", reason));
    return combined(code, ExitCode::failed);
}

}  // namespace KestrelCLI
