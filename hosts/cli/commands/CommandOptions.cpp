#include "commands/CommandOptions.hpp"

#include "commands/OptionValue.hpp"

#include <CLI/CLI.hpp>

#include <cstddef>
#include <optional>
#include <vector>

namespace KestrelCLI {

const CommandOption& CommandOption::valueName(const std::string& name) const {
    option_->type_name(name)->option_text(name);
    return *this;
}

const CommandOption& CommandOption::check(const ValueCheck& check) const {
    option_->transform(CLI::Validator{check.problem, "", check.name});
    return *this;
}

const CommandOption& CommandOption::excludes(const CommandOption& other) const {
    option_->excludes(other.option_);
    return *this;
}

const CommandOption& CommandOption::needs(const CommandOption& other) const {
    option_->needs(other.option_);
    return *this;
}

const CommandOption& CommandOption::oneEachTime() const {
    option_->expected(1)->take_all()->allow_extra_args(false);
    return *this;
}

const CommandOption& CommandOption::separatedBy(char separator) const {
    option_->delimiter(separator);
    return *this;
}

CommandOption CommandOptions::flag(const std::string& names, bool& isGiven, const std::string& description) const {
    return CommandOption{*app_->add_flag(names, isGiven, description)};
}

CommandOption CommandOptions::flag(const std::string& names, const std::function<void()>& whenGiven,
                                   const std::string& description) const {
    return CommandOption{*app_->add_flag_callback(names, whenGiven, description)};
}

template <typename Value>
    requires(!std::is_enum_v<Value>)
CommandOption CommandOptions::value(const std::string& names, Value& into, const std::string& description) const {
    return CommandOption{*app_->add_option(names, into, description)};
}

template CommandOption CommandOptions::value(const std::string&, std::string&, const std::string&) const;
template CommandOption CommandOptions::value(const std::string&, int&, const std::string&) const;
template CommandOption CommandOptions::value(const std::string&, std::int64_t&, const std::string&) const;
template CommandOption CommandOptions::value(const std::string&, std::size_t&, const std::string&) const;
template CommandOption CommandOptions::value(const std::string&, std::optional<std::string>&, const std::string&) const;
template CommandOption CommandOptions::value(const std::string&, std::optional<int>&, const std::string&) const;
template CommandOption CommandOptions::value(const std::string&, std::optional<std::int64_t>&,
                                             const std::string&) const;
// std::size_t and std::uint64_t: the same of these on one system, one of each on another.
template CommandOption CommandOptions::value(const std::string&, std::optional<unsigned long>&,
                                             const std::string&) const;
template CommandOption CommandOptions::value(const std::string&, std::optional<unsigned long long>&,
                                             const std::string&) const;
template CommandOption CommandOptions::value(const std::string&, std::vector<std::string>&, const std::string&) const;
template CommandOption CommandOptions::value(const std::string&, std::vector<std::int64_t>&, const std::string&) const;

CommandOption CommandOptions::numbered(const std::string& names, const std::function<void(std::int64_t)>& set,
                                       const std::map<std::string, std::int64_t>& numbers,
                                       const std::string& description) const {
    return CommandOption{*app_->add_option_function<std::int64_t>(names, set, description)}.check(oneOf(numbers));
}

void CommandOptions::hide() const { app_->group(""); }

}  // namespace KestrelCLI
