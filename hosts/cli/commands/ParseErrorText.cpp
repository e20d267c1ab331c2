#include "commands/ParseErrorText.hpp"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <array>

// CLI11 tells what it counted ("--min: 1 required SIZE missing"), and only in a text. The option that it is about
// stands at its front, so that everything else can be said anew.

namespace KestrelCLI {

namespace {

/// A value that makes sense behind an option, by what its help calls it.
std::string_view exampleOf(const CLI::Option& option) {
    struct Example {
        std::string_view type;
        std::string_view value;
    };
    static constexpr std::array examples{
        Example{"SIZE", "500MB"},       Example{"AGE", "30d"},    Example{"WHEN", "7d"},
        Example{"TIME", "2s"},          Example{"N", "10"},       Example{"FILE", "a.sqlite"},
        Example{"WHERE", "~/Pictures"}, Example{"EXT", "pdf"},    Example{"TYPE", "video"},
        Example{"PATH", "~/Downloads"}, Example{"ORDER", "size"}, Example{"KEY", "memory"},
        Example{"USER", "root"},        Example{"WORD", "DELETE"}};
    if (option.check_lname("color")) return "never";
    const std::string type = option.get_type_name();
    for (const Example& example : examples) {
        if (type == example.type || option.get_option_text() == example.type) return example.value;
    }
    return {};
}

/// Of the program or of the command that was named; null for none.
const CLI::Option* optionNamed(std::string_view name, const CLI::App& app) {
    if (const CLI::Option* option = app.get_option_no_throw(std::string{name})) return option;
    for (const CLI::App* command : app.get_subcommands()) {
        if (const CLI::Option* option = command->get_option_no_throw(std::string{name})) return option;
    }
    return nullptr;
}

}  // namespace

std::string missingValue(std::string_view name, const CLI::Option* option) {
    std::string what;
    if (option != nullptr)
        what = option->get_option_text().empty() ? option->get_type_name() : option->get_option_text();
    const std::string_view example = option == nullptr ? std::string_view{} : exampleOf(*option);
    if (what.empty() || example.empty()) return fmt::format("{} needs a value.", name);
    const std::string wanted = what == "N" ? "number N" : what;
    return fmt::format("{} needs a value, {}, as in {} {}.", name, wanted, name, example);
}

std::string parseErrorText(const CLI::ParseError& error, const CLI::App& app) {
    const std::string text = error.what();
    const std::string name = text.substr(0, text.find_first_of(": "));
    const CLI::Option* const option = optionNamed(name, app);
    if (dynamic_cast<const CLI::ArgumentMismatch*>(&error) != nullptr) {
        if (text.find("flag override") != std::string::npos) return fmt::format("{} takes no value.", name);
        if (text.find("At Most") != std::string::npos) return fmt::format("{} was given more than once.", name);
        return missingValue(name, option);
    }
    // "Could not convert: --json = x"
    constexpr std::string_view unread = "Could not convert: ";
    if (text.starts_with(unread)) {
        const std::string flag = text.substr(unread.size(), text.find(' ', unread.size()) - unread.size());
        const CLI::Option* const flagOption = optionNamed(flag, app);
        if (flagOption != nullptr && flagOption->get_items_expected_max() == 0)
            return fmt::format("{} takes no value.", flag);
    }
    if (dynamic_cast<const CLI::ExcludesError*>(&error) != nullptr) {
        constexpr std::string_view between = " excludes ";
        const std::size_t at = text.find(between);
        if (at != std::string::npos)
            return fmt::format("{} and {} do not go together.", text.substr(0, at), text.substr(at + between.size()));
    }
    return text;
}

}  // namespace KestrelCLI
