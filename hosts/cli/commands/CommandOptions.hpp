#pragma once

#include "commands/ValueCheck.hpp"

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <type_traits>

// CLI11 reads options. All of it is in headers, and whoever includes them compiles all of it again. So commands say
// what they take by these two types, and only what reads the command line as a whole, shows help or completes it knows
// CLI11.

namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace KestrelCLI {

/// An option that a command has, for what else there is to say of it. A handle: copies mean the same option.
class CommandOption {
public:
    explicit CommandOption(CLI::Option& option) : option_{&option} {}

    /// What help and errors call its value, such as "N".
    const CommandOption& valueName(const std::string& name) const;
    const CommandOption& check(const ValueCheck& check) const;
    /// It is wrong usage together with that one, or without it.
    const CommandOption& excludes(const CommandOption& other) const;
    const CommandOption& needs(const CommandOption& other) const;
    /// It may be given several times, and takes one value each time: the argument behind that is none of its own.
    const CommandOption& oneEachTime() const;
    /// A value may be several, with this between them.
    const CommandOption& separatedBy(char separator) const;

private:
    CLI::Option* option_;
};

/// Adds options to a command, or to the program itself. Names are written as they are typed: "-d,--depth". What is
/// handed in by reference is set while the command line is read and must live until then.
class CommandOptions {
public:
    explicit CommandOptions(CLI::App& app) : app_{&app} {}

    /// An option without a value.
    CommandOption flag(const std::string& names, bool& isGiven, const std::string& description) const;
    CommandOption flag(const std::string& names, const std::function<void()>& whenGiven,
                       const std::string& description) const;
    /// An option with a value: a `std::string`, `int`, `std::int64_t` or `std::size_t`, an optional or a vector of
    /// these.
    template <typename Value>
        requires(!std::is_enum_v<Value>)
    CommandOption value(const std::string& names, Value& into, const std::string& description) const;
    /// An option that takes one of a few names, in any case of ASCII letters. Another word gets all of them to read,
    /// and the one that was probably meant.
    template <typename Into, typename Choice>
    CommandOption choice(const std::string& names, Into& into, const std::map<std::string, Choice>& choices,
                         const std::string& description) const {
        std::map<std::string, std::int64_t> numbers;
        for (const auto& [name, value] : choices) numbers.emplace(name, static_cast<std::int64_t>(value));
        return numbered(
            names, [&into](std::int64_t number) { into = static_cast<Choice>(number); }, numbers, description);
    }

    /// Keeps the command out of what help shows.
    void hide() const;

private:
    CommandOption numbered(const std::string& names, const std::function<void(std::int64_t)>& set,
                           const std::map<std::string, std::int64_t>& numbers, const std::string& description) const;

    CLI::App* app_;
};

}  // namespace KestrelCLI
