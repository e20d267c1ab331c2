#pragma once

#include "commands/Command.hpp"

#include <cstdint>
#include <set>
#include <string>
#include <vector>

namespace KestrelCLI {

/// The last word of a command line that is still being typed: what it may become. The pointers are valid as long as the
/// program that it was found in.
struct CompletionPoint {
    enum class Part : std::uint8_t { command, option, value, operand };

    Part part = Part::command;
    CLI::App* command = nullptr;    ///< null where none is named yet
    CLI::Option* option = nullptr;  ///< of a value
    std::string stem;               ///< what stands before the value in the same word: "--color=", "--type=photos,"
    std::string typed;              ///< the word so far, without the stem
    Operands operands;              ///< those before it
    std::set<const CLI::Option*> options;  ///< those before it
};

/// Reads `words`, those behind the program's name as the shell has them, quotes and all. Without any, the point is at
/// an empty first one. What makes no sense is passed over: the line is not finished.
[[nodiscard]] CompletionPoint completionPoint(CLI::App& app, const std::vector<std::string>& words);

}  // namespace KestrelCLI
