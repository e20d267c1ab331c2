#include "commands/Commands.hpp"

#include "commands/HelpText.hpp"
#include "output/JSONOutput.hpp"

#include <CLI/CLI.hpp>

#include <string>

// What the program takes, as a program reads it: the manual pages are made from it and from docs/kestrel.md, and so
// tell of every option that there is and of no other. Not for people, and not among the commands that help shows.

namespace KestrelCLI {

namespace {

void writeOptions(JSONOutput& json, const CLI::App& app) {
    json.beginArray("options");
    for (const CLI::Option* option :
         app.get_options([](const CLI::Option* each) { return !each->get_group().empty(); })) {
        json.beginObject();
        json.beginArray("names");
        for (const std::string& name : option->get_snames()) json.element("-" + name);
        for (const std::string& name : option->get_lnames()) json.element("--" + name);
        json.endArray();
        json.member("value", valueText(*option));
        json.member("description", option->get_description());
        json.endObject();
    }
    json.endArray();
}

void writeDefinitions(const Session& session, const CLI::App& app) {
    JSONOutput json{session.raw()};  // the same in every locale
    json.member("description", app.get_description());
    writeOptions(json, app);
    json.beginArray("commands");
    for (const CLI::App* each : app.get_subcommands(nullptr)) {
        const Command* command = definitionOf(*each);
        if (command == nullptr) continue;
        json.beginObject();
        json.member("name", command->name);
        json.member("operands", command->operands);
        json.member("description", command->description);
        json.member("isShown", !each->get_group().empty());
        json.beginArray("examples");
        for (const std::string& example : command->examples) json.element(example);
        json.endArray();
        json.member("readsSavedScan", command->readsSavedScan);
        writeOptions(json, *each);
        json.endObject();
    }
    json.endArray();
    json.finish();
}

}  // namespace

void addDefinitionsCommand(CLI::App& app, Session& session) {
    const CommandOptions command = addCommand(app,
                                              {.name = "definitions",
                                               .operands = "",
                                               .description = "Tells all commands and options as JSON.",
                                               .examples = {},
                                               .mendsSettings = true},
                                              [&app, &session](const Operands&) {
                                                  writeDefinitions(session, app);
                                                  return ExitCode::done;
                                              });
    command.hide();
}

}  // namespace KestrelCLI
