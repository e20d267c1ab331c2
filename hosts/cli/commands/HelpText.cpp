#include "commands/HelpText.hpp"

#include "output/TerminalText.hpp"
#include "output/WordWrap.hpp"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <vector>

// Two columns: what is typed on the left, what it does on the right, wrapped within its column. What is too long for
// the left stands on a line of its own.

namespace KestrelCLI {

namespace {

constexpr std::size_t optionColumns = 24;
constexpr std::size_t commandColumns = 12;

/// "-d, --depth N", with room for the short name where there is none, so that the long ones stand one below the other.
std::string namesOf(const CLI::Option& option) {
    std::string names;
    for (const std::string& name : option.get_snames()) names += (names.empty() ? "-" : ", -") + name;
    for (const std::string& name : option.get_lnames()) names += (names.empty() ? "    --" : ", --") + name;
    const std::string value = valueText(option);
    return value.empty() ? names : names + " " + value;
}

std::string line(std::string_view left, std::string_view right, std::size_t leftColumns, std::size_t columns) {
    const std::size_t indent = 2 + leftColumns;
    std::string result = "  " + std::string{left};
    const std::size_t used = 2 + TerminalText::width(left);
    if (right.empty()) return result + '\n';
    result += used + 2 > indent ? '\n' + std::string(indent, ' ') : std::string(indent - used, ' ');
    const std::size_t room = std::max(columns, indent + 20) - indent;
    const std::string wrapped = wrappedWords(right, room, 0);
    for (const char c : wrapped) {
        result += c;
        if (c == '\n') result.append(indent, ' ');
    }
    return result + '\n';
}

}  // namespace

std::string exampleLine(std::string_view example, std::size_t columns) {
    constexpr std::string_view first = "  ";
    constexpr std::string_view further = "      ";
    std::string result;
    std::string_view indent = first;
    while (indent.size() + TerminalText::width(example) > columns) {
        // Within quotes a blank is part of a word, and so would be the end of a line.
        std::size_t at = std::string_view::npos;
        std::size_t beforeOption = std::string_view::npos;  // which stays together with its value
        char quote = 0;
        for (std::size_t i = 0; i < example.size() && indent.size() + i + 2 <= columns; ++i) {
            if (quote != 0) {
                if (example[i] == quote) quote = 0;
            } else if (example[i] == '\'' || example[i] == '"') {
                quote = example[i];
            } else if (example[i] == ' ') {
                at = i;
                if (example.substr(i + 1, 1) == "-") beforeOption = i;
            }
        }
        if (beforeOption != std::string_view::npos) at = beforeOption;
        if (at == std::string_view::npos) break;
        result.append(indent).append(example.substr(0, at)).append(" \\\n");
        example.remove_prefix(at + 1);
        indent = further;
    }
    return result.append(indent).append(example).append("\n");
}

std::string valueText(const CLI::Option& option) {
    if (option.get_items_expected_max() == 0) return {};
    const std::string& text = option.get_option_text();
    return text.empty() ? option.get_type_name() : text;
}

std::string optionLines(const CLI::App& app, std::size_t columns) {
    std::string result;
    for (const CLI::Option* option :
         app.get_options([](const CLI::Option* each) { return !each->get_group().empty(); }))
        result += line(namesOf(*option), option->get_description(), optionColumns, columns);
    return result;
}

std::string commandLines(const CLI::App& app, std::size_t columns) {
    std::string result;
    for (const CLI::App* command :
         app.get_subcommands([](const CLI::App* each) { return !each->get_group().empty(); })) {
        result += line(command->get_name(), command->get_description(), commandColumns, columns);
    }
    return result;
}

}  // namespace KestrelCLI
