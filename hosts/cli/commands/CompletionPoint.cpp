#include "commands/CompletionPoint.hpp"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cstddef>

namespace KestrelCLI {

namespace {

/// The option of that name, of the command or of the program; null where there is none.
CLI::Option* optionNamed(const std::string& name, CLI::App& app, CLI::App* command) {
    if (command != nullptr) {
        if (CLI::Option* option = command->get_option_no_throw(name)) return option;
    }
    return app.get_option_no_throw(name);
}

bool isOption(const std::string& word) { return word.size() > 1 && word.front() == '-'; }

/// What the word has to say of an option, and whether its value is the next word.
CLI::Option* readOption(const std::string& word, CLI::App& app, CompletionPoint& point) {
    const std::size_t equals = word.find('=');
    CLI::Option* option = optionNamed(word.substr(0, equals), app, point.command);
    if (option == nullptr) return nullptr;
    point.options.insert(option);
    return equals == std::string::npos && option->get_items_expected_max() > 0 ? option : nullptr;
}

CLI::App* commandNamed(const std::string& name, CLI::App& app) {
    const auto commands = app.get_subcommands([&](CLI::App* each) { return each->get_name() == name; });
    return commands.empty() ? nullptr : commands.front();
}

}  // namespace

CompletionPoint completionPoint(CLI::App& app, const std::vector<std::string>& words) {
    CompletionPoint point;
    CLI::Option* pending = nullptr;
    bool isBehindMark = false;
    for (std::size_t index = 0; index + 1 < words.size(); ++index) {
        const std::string& word = words[index];
        if (pending != nullptr) {
            pending = nullptr;
        } else if (!isBehindMark && word == "--") {
            isBehindMark = true;
        } else if (!isBehindMark && isOption(word)) {
            pending = readOption(word, app, point);
        } else if (CLI::App* command = isBehindMark || point.command != nullptr ? nullptr : commandNamed(word, app)) {
            point.command = command;
        } else {
            point.operands.push_back(word);
        }
    }
    if (words.empty()) return point;
    point.typed = words.back();
    const std::size_t equals = point.typed.find('=');
    if (pending != nullptr) {
        point.part = CompletionPoint::Part::value;
        point.option = pending;
    } else if (!isBehindMark && point.typed.starts_with("--") && equals != std::string::npos) {
        point.part = CompletionPoint::Part::value;
        point.option = optionNamed(point.typed.substr(0, equals), app, point.command);
        point.stem = point.typed.substr(0, equals + 1);
        point.typed.erase(0, equals + 1);
    } else if (!isBehindMark && point.typed.starts_with('-')) {
        point.part = CompletionPoint::Part::option;
    } else if (point.command != nullptr) {
        point.part = CompletionPoint::Part::operand;
    } else {
        point.part = CompletionPoint::Part::command;
    }
    if (point.option != nullptr && point.option->get_delimiter() != '\0') {
        const std::size_t last = point.typed.rfind(point.option->get_delimiter());
        if (last != std::string::npos) {
            point.stem += point.typed.substr(0, last + 1);
            point.typed.erase(0, last + 1);
        }
    }
    return point;
}

}  // namespace KestrelCLI
