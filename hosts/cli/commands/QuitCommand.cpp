#include "commands/Commands.hpp"
#include "commands/OptionValue.hpp"
#include "output/JSONOutput.hpp"
#include "output/ProcessRow.hpp"
#include "output/Table.hpp"
#include "output/TerminalText.hpp"
#include "terminal/Interruption.hpp"
#include "terminal/Question.hpp"

#include "KestrelCore/Metrics/SystemMetrics.hpp"
#include "KestrelCore/Model/KestrelError.hpp"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

// The processes are sampled once, so that the user agrees to names and not to numbers. The samples go to the library,
// which finds out whether each process still is the one that was sampled.

namespace KestrelCLI {

namespace {

using namespace KestrelCore;

struct Result {
    std::optional<std::string> message;  ///< absent for success
    ExitCode code = ExitCode::done;
};

struct Target {
    ProcessSample sample{};
    ProcessDescription description{};
    bool isListed = false;              ///< found among the processes; otherwise only the identifier is known
    std::optional<HeldProcess> held{};  ///< from before the question on: another can't take its identifier's place
    std::optional<Result> refusal{};    ///< why it could not be held
    bool isForced = false;
    std::optional<std::string> failure{};  ///< of the force
};

struct QuitOptions {
    bool isAgreed = false;
    bool isForced = false;
    std::optional<std::string> grace;

    [[nodiscard]] Seconds graceTime() const { return intervalOption(grace.value_or("5s")); }
};

/// Absent for what is no number: then it is a name.
std::optional<std::int32_t> identifierOf(const std::string& operand) {
    std::int32_t identifier = 0;
    const char* const end = operand.data() + operand.size();
    const auto [rest, error] = std::from_chars(operand.data(), end, identifier);
    if (error == std::errc{} && rest == end) return identifier;
    const bool isNumber = !operand.empty() && operand.find_first_not_of("0123456789") == std::string::npos;
    if (operand.empty() || isNumber) throw UsageError{fmt::format("“{}” is no process identifier.", operand)};
    return std::nullopt;
}

/// Whether a process is called so, in any case: by its own name or that of its program.
bool isNamed(const ProcessSample& process, const Text& folded) {
    if (process.name.folded() == folded) return true;
    if (!process.executablePath) return false;
    const std::string_view path = process.executablePath->view();
    return Text{path.substr(path.rfind('/') + 1)}.folded() == folded;
}

/// Adds the processes of a name; throws when there is none, with the names that were probably meant.
void addNamed(std::vector<Target>& targets, const std::string& name, const std::vector<ProcessRow>& rows) {
    const Text folded = Text{name}.folded();
    const std::size_t before = targets.size();
    std::set<std::string> alike;
    for (const ProcessRow& row : rows) {
        // The system's own threads can't be asked, and this program is not what anybody means.
        if (row.description.isKernelThread || row.sample.id == getpid()) continue;
        if (isNamed(row.sample, folded)) {
            targets.push_back({.sample = row.sample, .description = row.description, .isListed = true});
        } else if (row.sample.name.folded().contains(folded)) {
            alike.insert(row.sample.name.string());
        }
    }
    if (targets.size() > before) return;
    std::string message = fmt::format("There is no process named “{}”.", name);
    constexpr std::size_t mostSuggestions = 5;
    if (!alike.empty()) {
        std::vector<std::string> names{alike.begin(), alike.end()};
        if (names.size() > mostSuggestions) names.resize(mostSuggestions);
        message += fmt::format(" Did you mean {}?", fmt::join(names, ", "));
    }
    throw std::runtime_error{message};
}

/// What the operands name, each process once. All of them are looked at before anything is asked: one that means
/// nothing stops the command.
std::vector<Target> targetsOf(const Operands& operands) {
    for (const std::string& operand : operands) (void)identifierOf(operand);
    ProcessSampler sampler;
    ProcessInspector inspector;
    const std::vector<ProcessRow> rows = processRows(sampler.sample(), inspector);
    std::vector<Target> targets;
    for (const std::string& operand : operands) {
        const auto identifier = identifierOf(operand);
        if (!identifier) {
            addNamed(targets, operand, rows);
            continue;
        }
        Target& target = targets.emplace_back();
        target.sample.id = *identifier;
        const auto found = std::ranges::find(rows, *identifier, [](const ProcessRow& row) { return row.sample.id; });
        if (found != rows.end())
            target = {.sample = found->sample, .description = found->description, .isListed = true};
    }
    std::vector<Target> once;
    for (Target& target : targets) {
        const auto isSame = [&target](const Target& other) { return other.sample.id == target.sample.id; };
        if (std::ranges::none_of(once, isSame)) once.push_back(std::move(target));
    }
    return once;
}

/// The name with the identifier, by which two processes of one name are told apart.
std::string described(const Target& target) {
    return target.isListed ? fmt::format("{} ({})", target.sample.name.view(), target.sample.id)
                           : fmt::to_string(target.sample.id);
}

/// Does `action` for a target; what it throws becomes the result.
template <typename Action>
Result attempted(Action action) {
    try {
        action();
        return {};
    } catch (const KestrelError& error) {
        const bool isRefused = error.errorCase() == KestrelError::Case::safetyViolation;
        return {error.what(), isRefused ? ExitCode::refused : ExitCode::failed};
    }
}

/// Asks one process to quit, and keeps hold of it.
Result quit(Target& target) {
    // One that is not listed still goes to the library when that refuses it, so that its refusal is what is shown.
    if (!target.isListed && ProcessControl::canTerminate(target.sample)) {
        return {fmt::format("There is no process {}.", target.sample.id), ExitCode::failed};
    }
    if (target.refusal) return *target.refusal;
    return attempted([&target] {
        if (!target.held) target.held.emplace(target.sample);
        target.held->terminate();
    });
}

/// Whether the user agrees to `question` about the targets; several are listed first.
bool isConfirmed(const Session& session, const std::vector<const Target*>& targets, const char* one,
                 const char* several) {
    // Nobody is asked when there is nothing that could be asked to quit.
    if (targets.empty()) return true;
    const char* const instead = "Use --yes to quit without a question.";
    if (targets.size() == 1) {
        return confirm(session, fmt::format(fmt::runtime(one), described(*targets.front())), instead);
    }
    if (session.terminal.isInput) {
        Table table{{{.title = "PID", .align = Table::Align::right},
                     {.title = "user"},
                     {.title = "name"},
                     {.title = "command line", .shrinks = true, .isCut = true}}};
        for (const Target* target : targets) {
            const auto text = [](const std::optional<Text>& value) {
                return value ? TerminalText::escaped(value->view()) : std::string{};
            };
            table.addRow({{fmt::to_string(target->sample.id)},
                          {text(target->description.user)},
                          {TerminalText::escaped(target->sample.name.view())},
                          {text(target->description.commandLine), Style::quiet}});
        }
        session.out.flush();
        const bool isSeen = session.terminal.isMessages;
        table.write(session.messages, isSeen ? session.terminal.columns : 0, session.hasColorInMessages(),
                    session.characters());
    }
    return confirm(session, fmt::format(fmt::runtime(several), targets.size()), instead);
}

/// Waits until those that were asked have ended, at most as long as the grace; those that have not.
std::vector<Target*> stillRunning(std::vector<Target>& targets, const std::vector<Result>& results, Seconds grace) {
    constexpr auto shortest = std::chrono::milliseconds{20};
    const auto until = std::chrono::steady_clock::now() + grace;
    for (;;) {
        std::vector<Target*> running;
        for (std::size_t index = 0; index < targets.size(); ++index) {
            Target& target = targets[index];
            if (!results[index].message && target.held && !target.held->hasExited()) running.push_back(&target);
        }
        // What was asked can't be taken back and is told, so the results are still written.
        if (Interruption::isRequested()) return {};
        if (running.empty() || std::chrono::steady_clock::now() >= until) return running;
        // Looked at now and then: there may be several, Ctrl-C ends it, and not every system can wait for a process.
        std::this_thread::sleep_for(shortest);
    }
}

void writeResults(const Session& session, const std::vector<Target>& targets, const std::vector<Result>& results) {
    JSONOutput json{session.out};
    json.beginArray("results");
    for (std::size_t index = 0; index < targets.size(); ++index) {
        json.beginObject();
        json.member("id", targets[index].sample.id);
        if (targets[index].isListed) json.member("name", targets[index].sample.name.view());
        json.member("succeeded", !results[index].message.has_value());
        json.member("message", results[index].message);
        if (targets[index].isForced) json.member("forced", true);
        json.endObject();
    }
    json.endArray();
    json.finish();
}

/// Ends by force what did not quit within the grace, after a question of its own.
ExitCode forceTheRest(const Session& session, std::vector<Target>& targets, const std::vector<Result>& results,
                      const QuitOptions& options) {
    const std::vector<Target*> running = stillRunning(targets, results, options.graceTime());
    if (Interruption::isRequested()) return ExitCode::interrupted;
    if (running.empty()) return ExitCode::done;
    const std::vector<const Target*> asked{running.begin(), running.end()};
    if (!options.isAgreed &&
        !isConfirmed(session, asked, "{} still runs. End it by force? What it has not saved is lost.",
                     "These {} still run. End them by force? What they have not saved is lost.")) {
        session.say("Nothing was ended by force.");
        return ExitCode::failed;
    }
    ExitCode code = ExitCode::done;
    for (Target* target : running) {
        // One that has quit by itself meanwhile is gone as it was meant to be.
        if (target->held->hasExited()) continue;
        const Result result = attempted([target] { target->held->forceQuit(); });
        target->isForced = !result.message.has_value();
        target->failure = result.message;
        code = combined(code, result.code);
    }
    return code;
}

ExitCode runQuit(const Session& session, const Operands& operands, const QuitOptions& options) {
    // A grace that is none is wrong whatever comes of the rest.
    (void)options.graceTime();
    if (options.grace && !options.isForced)
        throw UsageError{"--grace goes with --force: nothing is waited for without it."};
    std::vector<Target> targets = targetsOf(operands);
    std::vector<const Target*> asked;
    for (const Target& target : targets) {
        if (target.isListed && ProcessControl::canTerminate(target.sample)) asked.push_back(&target);
    }
    for (Target& target : targets) {
        if (!target.isListed || !ProcessControl::canTerminate(target.sample)) continue;
        const Result held = attempted([&target] { target.held.emplace(target.sample); });
        if (held.message) target.refusal = held;
    }
    if (!options.isAgreed && !isConfirmed(session, asked, "Ask {} to quit?", "Ask these {} processes to quit?")) {
        session.say("Nothing was asked to quit.");
        // A program that reads JSON gets its object whatever comes of it.
        if (session.options.json) writeResults(session, {}, {});
        return ExitCode::failed;
    }
    std::vector<Result> results;
    ExitCode code = ExitCode::done;
    for (Target& target : targets) {
        if (Interruption::isRequested()) {
            // The others were asked already: that can't be taken back and is told.
            results.push_back({"Interrupted.", ExitCode::interrupted});
        } else {
            results.push_back(quit(target));
        }
        code = combined(code, results.back().code);
    }
    if (options.isForced) code = combined(code, forceTheRest(session, targets, results, options));
    for (std::size_t index = 0; index < targets.size(); ++index) {
        if (targets[index].failure) results[index].message = targets[index].failure;
    }

    if (session.options.json) {
        writeResults(session, targets, results);
        return code;
    }
    for (std::size_t index = 0; index < targets.size(); ++index) {
        const std::string name = session.shown(described(targets[index]));
        if (const auto& message = results[index].message) {
            session.out << session.painted(Style::bad, name + ": " + *message) << '\n';
        } else {
            session.out << name << (targets[index].isForced ? " was ended by force.\n" : " was asked to quit.\n");
        }
    }
    return code;
}

}  // namespace

void addQuitCommand(CLI::App& app, Session& session) {
    const auto options = std::make_shared<QuitOptions>();
    const CommandOptions command = addCommand(
        app,
        {.name = "quit",
         .operands = "PID|NAME…",
         .description = "Asks processes to quit, by their identifiers or their names. They may take their time, or "
                        "refuse; nothing is forced without --force.",
         .examples = {"kestrel quit firefox", "kestrel quit 4711 4712 --yes", "kestrel quit --force stuck-program"},
         .fewestOperands = 1,
         .mostOperands = Command::unlimited,
         .operandKind = ValueKind::process},
        [&session, options](const Operands& operands) { return runQuit(session, operands, *options); });
    command.flag("-y,--yes", options->isAgreed, "Do not ask first");
    command.flag("--force", options->isForced,
                 "End what has not quit after a while, after a question of its own; it can't save anything then");
    command.value("--grace", options->grace, "With --force: how long processes have to quit (default: 5s)")
        .valueName("TIME");
}

}  // namespace KestrelCLI
