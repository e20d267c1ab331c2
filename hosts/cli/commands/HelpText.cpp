#include "commands/HelpText.hpp"

#include "output/TerminalText.hpp"

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
    if (option.get_items_expected_max() == 0) return names;
    const std::string& text = option.get_option_text();
    return names + " " + (text.empty() ? option.get_type_name() : text);
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

std::string wrappedWords(std::string_view text, std::size_t columns, std::size_t indent) {
    std::string result;
    std::size_t used = 0;
    for (std::size_t begin = 0; begin < text.size();) {
        const std::size_t end = std::min(text.find_first_of(" \n", begin), text.size());
        const std::string_view word = text.substr(begin, end - begin);
        const std::size_t width = TerminalText::width(word);
        if (used > 0 && used + 1 + width > columns) {
            result += '\n' + std::string(indent, ' ');
            used = indent;
        } else if (used > 0 && begin > 0 && text[begin - 1] == ' ') {
            result += ' ';
            ++used;
        }
        result += word;
        used += width;
        if (end < text.size() && text[end] == '\n') {
            result += '\n';
            used = 0;
        }
        begin = end + 1;
    }
    return result;
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
