#include "commands/Commands.hpp"
#include "output/JSONOutput.hpp"
#include "terminal/Interruption.hpp"
#include "terminal/Question.hpp"

#include "KestrelCore/Metrics/SystemMetrics.hpp"
#include "KestrelCore/Model/KestrelError.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

// The processes are sampled once, so that the user agrees to names and not to numbers. The samples go to the library,
// which finds out whether each process still is the one that was sampled.

namespace KestrelCLI {

namespace {

using KestrelCore::KestrelError;
using KestrelCore::ProcessControl;
using KestrelCore::ProcessSample;
using KestrelCore::ProcessSampler;

struct Target {
    ProcessSample sample;
    bool isListed = false;  ///< found among the processes; otherwise only the identifier is known
};

struct Result {
    std::optional<std::string> message;  ///< absent for success
    ExitCode code = ExitCode::done;
};

std::int32_t identifierOf(const std::string& operand) {
    std::int32_t identifier = 0;
    const char* const end = operand.data() + operand.size();
    const auto [rest, error] = std::from_chars(operand.data(), end, identifier);
    if (error != std::errc{} || rest != end) {
        throw UsageError{fmt::format("“{}” is no process identifier.", operand)};
    }
    return identifier;
}

/// What the operands name. All of them are read before anything is sampled: one that is no number stops the command.
std::vector<Target> targetsOf(const Operands& operands) {
    std::vector<Target> targets;
    for (const std::string& operand : operands) targets.push_back({.sample = {.id = identifierOf(operand)}});
    ProcessSampler sampler;
    const std::vector<ProcessSample> processes = sampler.sample();
    for (Target& target : targets) {
        const auto found = std::ranges::find(processes, target.sample.id, &ProcessSample::id);
        if (found != processes.end()) target = {.sample = *found, .isListed = true};
    }
    return targets;
}

/// The name with the identifier, by which two processes of one name are told apart.
std::string described(const Target& target) {
    return target.isListed ? fmt::format("{} ({})", target.sample.name.view(), target.sample.id)
                           : fmt::to_string(target.sample.id);
}

/// Asks one process to quit; whether it does is its own affair, and is not waited for.
Result quit(const Target& target) {
    // One that is not listed still goes to the library when that refuses it, so that its refusal is what is shown.
    if (!target.isListed && ProcessControl::canTerminate(target.sample)) {
        return {fmt::format("There is no process {}.", target.sample.id), ExitCode::failed};
    }
    try {
        ProcessControl::terminate(target.sample);
        return {};
    } catch (const KestrelError& error) {
        const bool isRefused = error.errorCase() == KestrelError::Case::safetyViolation;
        return {error.what(), isRefused ? ExitCode::refused : ExitCode::failed};
    }
}

/// Whether the user agrees. Nobody is asked when there is nothing that could be asked to quit.
bool isConfirmed(const Session& session, const std::vector<Target>& targets) {
    std::string names;
    for (const Target& target : targets) {
        if (!target.isListed || !ProcessControl::canTerminate(target.sample)) continue;
        if (!names.empty()) names += ", ";
        names += described(target);
    }
    if (names.empty()) return true;
    return confirm(session, fmt::format("Ask {} to quit?", names), "Use --yes to quit without a question.");
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
        json.endObject();
    }
    json.endArray();
    json.finish();
}

ExitCode runQuit(const Session& session, const Operands& operands, bool isAgreed) {
    const std::vector<Target> targets = targetsOf(operands);
    if (!isAgreed && !isConfirmed(session, targets)) {
        session.say("Nothing was asked to quit.");
        // A program that reads JSON gets its object whatever comes of it.
        if (session.options.json) writeResults(session, {}, {});
        return ExitCode::failed;
    }
    std::vector<Result> results;
    ExitCode code = ExitCode::done;
    for (const Target& target : targets) {
        if (Interruption::isRequested()) {
            // The others were asked already: that can't be taken back and is told.
            results.push_back({"Interrupted.", ExitCode::interrupted});
        } else {
            results.push_back(quit(target));
        }
        code = combined(code, results.back().code);
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
            session.out << name << " was asked to quit.\n";
        }
    }
    return code;
}

}  // namespace

void addQuitCommand(CLI::App& app, Session& session) {
    const auto isAgreed = std::make_shared<bool>(false);
    CLI::App& command =
        addCommand(app,
                   {.name = "quit",
                    .operands = "PID…",
                    .description = "Asks processes to quit. They may take their time, or refuse; nothing is forced.",
                    .examples = {"kestrel quit 4711", "kestrel quit 4711 4712 --yes"},
                    .fewestOperands = 1,
                    .mostOperands = Command::unlimited},
                   [&session, isAgreed](const Operands& operands) { return runQuit(session, operands, *isAgreed); });
    command.add_flag("-y,--yes", *isAgreed, "Do not ask first");
}

}  // namespace KestrelCLI
