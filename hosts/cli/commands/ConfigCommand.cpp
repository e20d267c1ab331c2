#include "commands/Commands.hpp"

#include "output/ErrorOutput.hpp"
#include "output/JSONOutput.hpp"
#include "output/Table.hpp"
#include "store/ConfigurationFile.hpp"
#include "store/ConfigurationText.hpp"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

// The command for somebody whose file is not understood, so it runs whatever the file says: what is wrong is told, and
// beside it what holds all the same.

namespace KestrelCLI {

namespace {

struct ConfigOptions {
    bool showsExample = false;
};

/// One setting as it is told.
struct ToldSetting {
    std::string_view name;
    std::vector<std::string> values;  ///< as they are written in the file
    bool isList = false;
    SettingSource source = SettingSource::builtIn;
    std::int64_t line = 0;
    std::string by;
};

/// A size as the file may say it, to the byte.
std::string sizeText(std::int64_t bytes) {
    constexpr std::array<std::pair<std::string_view, std::int64_t>, 7> units{{{"TB", 1'000'000'000'000},
                                                                              {"TiB", std::int64_t{1} << 40},
                                                                              {"GB", 1'000'000'000},
                                                                              {"GiB", std::int64_t{1} << 30},
                                                                              {"MB", 1'000'000},
                                                                              {"MiB", std::int64_t{1} << 20},
                                                                              {"kB", 1'000}}};
    for (const auto& [name, unit] : units) {
        if (bytes % unit == 0) return fmt::format("{}{}", bytes / unit, name);
    }
    return fmt::format("{}B", bytes);
}

template <typename Value>
ToldSetting told(const Setting<Value>& setting, std::string value) {
    return {.name = {},
            .values = {std::move(value)},
            .isList = false,
            .source = setting.source,
            .line = setting.line,
            .by = setting.by};
}

/// In the order of `settingNames`.
std::vector<ToldSetting> toldSettings(const Session& session, const std::vector<std::string>& names) {
    const Settings& settings = session.settings;
    const auto days = [](const Setting<std::chrono::days>& setting) {
        return told(setting, fmt::format("{}d", setting.value.count()));
    };
    ToldSetting exclude = told(settings.exclude, {});
    exclude.values = settings.exclude.value;
    exclude.isList = true;
    std::vector<ToldSetting> all{told(settings.units, std::string{nameOf(settings.units.value)}),
                                 told(settings.color, std::string{nameOf(settings.color.value)}),
                                 told(settings.folder, settings.folder.value.value_or(session.home)),
                                 std::move(exclude),
                                 days(settings.keepAll),
                                 days(settings.keepDaily),
                                 days(settings.keepWeekly),
                                 told(settings.mostBytes, sizeText(settings.mostBytes.value)),
                                 told(settings.pageColors, std::string{nameOf(settings.pageColors.value)})};
    for (std::size_t i = 0; i < all.size(); ++i) all[i].name = names.at(i);
    return all;
}

std::string_view nameOf(SettingSource source) {
    switch (source) {
    case SettingSource::builtIn: break;
    case SettingSource::file: return "file";
    case SettingSource::environment: return "environment";
    case SettingSource::option: return "option";
    }
    return "default";
}

void writeText(const Session& session, const std::vector<ToldSetting>& all) {
    Table table{{{.title = "Setting"}, {.title = "Value", .shrinks = true}, {.title = "From"}}};
    for (const ToldSetting& each : all) {
        const bool isUsual = each.source == SettingSource::builtIn;
        const std::string from = each.source == SettingSource::file ? fmt::format("file, line {}", each.line)
                                 : isUsual                          ? "default"
                                                                    : each.by;
        std::vector<std::string> values;
        for (const std::string& value : each.values)
            values.push_back(each.name == "folder" ? session.shownPath(value) : session.shown(value));
        table.addRow({{.text = std::string{each.name}},
                      {.text = values.empty() ? "none" : fmt::format("{}", fmt::join(values, ", "))},
                      {.text = from, .style = isUsual ? Style::quiet : Style::plain}});
    }
    table.write(session);
    const Settings& settings = session.settings;
    if (session.options.ignoresConfiguration) return;
    if (settings.hasFile) {
        session.out << "\nThe file: " << session.shownPath(settings.file) << '\n';
    } else if (!settings.file.empty()) {
        session.out << "\nThere is no file " << session.shownPath(settings.file)
                    << "\nkestrel config --example tells what it may say.\n";
    }
}

void writeJSON(const Session& session, const std::vector<ToldSetting>& all) {
    const Settings& settings = session.settings;
    JSONOutput json{session.out};
    json.beginArray("settings");
    for (const ToldSetting& each : all) {
        json.beginObject();
        json.member("name", each.name);
        if (each.isList) {
            json.beginArray("value");
            for (const std::string& value : each.values) json.element(value);
            json.endArray();
        } else {
            json.member("value", each.values.front());
        }
        json.member("source", nameOf(each.source));
        if (each.source == SettingSource::file) json.member("line", each.line);
        if (!each.by.empty()) json.member("by", each.by);
        json.endObject();
    }
    json.endArray();
    if (!settings.file.empty()) json.member("path", settings.file);
    if (!settings.problems.empty()) {
        json.beginArray("problems");
        for (const SettingProblem& problem : settings.problems) {
            json.beginObject();
            if (problem.line != 0) json.member("line", problem.line);
            json.member("message", problem.message);
            json.endObject();
        }
        json.endArray();
        json.beginObject("error");
        json.member("code", "wrongUsage");
        json.member("message", sentenceOf(settings, settings.problems.front()));
        json.member("path", settings.file);
        json.endObject();
    }
    json.finish();
}

ExitCode config(const Session& session, const ConfigOptions& options) {
    if (options.showsExample) {
        if (session.options.json)
            throw UsageError{"--example is a file for people; without it --json tells what holds."};
        session.raw() << exampleConfiguration();
        return ExitCode::done;
    }
    const std::vector<std::string> names = settingNames();
    const std::vector<ToldSetting> all = toldSettings(session, names);
    for (const SettingProblem& problem : session.settings.problems) session.say(sentenceOf(session.settings, problem));
    if (session.options.json) {
        writeJSON(session, all);
    } else {
        writeText(session, all);
    }
    return session.settings.problems.empty() ? ExitCode::done : ExitCode::wrongUsage;
}

}  // namespace

void addConfigCommand(CLI::App& app, Session& session) {
    const auto options = std::make_shared<ConfigOptions>();
    const CommandOptions command = addCommand(
        app,
        {.name = "config",
         .operands = "",
         .description = "Tells the settings that hold, where they come from, and what is wrong with their file.",
         .examples = {"kestrel config", "kestrel config --example > ~/.config/kestrel/config.toml"},
         .mendsSettings = true},
        [&session, options](const Operands&) { return config(session, *options); });
    command.flag("--example", options->showsExample,
                 "Print a file that says what holds without one, with a comment for each setting");
}

}  // namespace KestrelCLI
