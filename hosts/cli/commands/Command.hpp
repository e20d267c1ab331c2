#pragma once

#include "commands/CommandOptions.hpp"
#include "commands/OptionValue.hpp"
#include "output/Session.hpp"

#include <cstddef>
#include <functional>
#include <limits>
#include <string>
#include <vector>

namespace KestrelCLI {

/// What stands on the command line beside options: paths, words, numbers, exactly as given.
using Operands = std::vector<std::string>;

/// One command as its help shows it.
struct Command {
    static constexpr std::size_t unlimited = std::numeric_limits<std::size_t>::max();

    std::string name;
    std::string operands;     ///< as the usage line shows them, such as "[PATH]"; empty when there are none
    std::string description;  ///< one sentence
    std::vector<std::string> examples;
    std::size_t fewestOperands = 0;
    std::size_t mostOperands = 0;
    /// They are words to look for, of which an empty one asks for nothing; of any other kind an empty one is wrong
    /// usage.
    bool takesWords = false;
    ValueKind operandKind = ValueKind::text;  ///< what each operand is
    std::vector<std::string> operandWords{};  ///< where there are only these
    bool readsSavedScan = false;  ///< answers from a saved scan alone, and so from an older one with --at, too
    bool mendsSettings = false;   ///< runs whatever is wrong with the configuration file
};

/// Adds a command to the program. `run` is called after the whole command line was read and found right, with the
/// operands; what it throws becomes one line and an exit code. The caller adds the command's options to the result.
///
/// Operands never go through CLI11 (options only do): everything after "--" is one, whatever it looks like, and no name
/// is split at brackets or commas or taken for a command. `app` must be the one that `runCommandLine` hands in.
CommandOptions addCommand(CLI::App& app, const Command& command, std::function<ExitCode(const Operands&)> run);

/// What `addCommand` was told about it; null for the program itself. Valid as long as `app`.
[[nodiscard]] const Command* definitionOf(const CLI::App& app);

/// A function that adds one command: each command has a file of its own and exactly one of these.
using CommandAdder = void (*)(CLI::App&, Session&);

/// Reads `arguments` (without the program's name), runs the command they name and returns how it ended. Sets
/// `session.options` and `session.settings`. Results that can't be written count as a failure; where their reader went
/// away
/// (`Interruption::isPipeClosed`), nothing is said about it.
[[nodiscard]] ExitCode runCommandLine(std::vector<std::string> arguments, Session& session,
                                      const std::vector<CommandAdder>& commands);

}  // namespace KestrelCLI
