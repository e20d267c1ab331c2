#include "commands/LibraryCommand.hpp"

#include "commands/OptionValue.hpp"
#include "output/ByteFormat.hpp"
#include "output/Table.hpp"
#include "output/Times.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <memory>
#include <utility>

using namespace KestrelCore;

// The lists of photos, of videos and of documents look alike: newest first, as the library sorts them, with a few of
// many shown unless more are asked for. JSON has all of them, since a script that wants few takes few.

namespace KestrelCLI {

namespace {

constexpr std::size_t usualLimit = 40;

}  // namespace

std::size_t LibraryOptions::textLimit() const { return limit.value_or(usualLimit); }

void addLibraryCommand(CLI::App& app, Session& session, const LibraryDescription& description,
                       std::function<ExitCode(const Session&, const LibraryOptions&)> run) {
    const auto options = std::make_shared<LibraryOptions>();
    const CommandOptions command =
        addCommand(app,
                   {.name = description.name,
                    .operands = "",
                    .description = description.description,
                    .examples = description.examples,
                    .readsSavedScan = true},
                   [&session, options, run = std::move(run)](const Operands&) { return run(session, *options); });
    command.value("--kind", options->kind, description.kindHelp)
        .valueName("KIND")
        .check(oneOf(description.kinds, description.synonyms));
    command
        .value("--limit", options->limit,
               fmt::format("{} (default: {}; with --json: all)", description.limitHelp, usualLimit))
        .valueName("N")
        .check(wholeNumber());
    command.flag("-0,--print0", options->print0, "Print only the paths, all of them, each ended by a NUL");
}

void writePaths(const Session& session, const std::vector<LibraryLine>& lines, std::size_t limit) {
    std::ostream& out = session.raw();
    for (std::size_t i = 0; i < std::min(lines.size(), limit); ++i) out << lines[i].record.path().view() << '\0';
}

void writeLibrary(const Session& session, const Generation& scan, std::string_view title,
                  const std::vector<LibraryLine>& lines, std::int64_t bytes, std::size_t limit) {
    session.out << session.painted(Style::heading, title)
                << fmt::format("  {}, {}\n", ByteFormat::count(static_cast<std::int64_t>(lines.size())),
                               session.size(bytes));
    const Text root = scan.scope.root.path();
    const std::size_t rootLength = root.view() == "/" ? 1 : root.byteCount() + 1;
    const std::size_t shown = std::min(lines.size(), limit);
    Table table{
        {{.title = ""}, {.title = "", .align = Table::Align::right}, {.title = ""}, {.title = "", .shrinks = true}}};
    for (std::size_t i = 0; i < shown; ++i) {
        const FileRecord& record = lines[i].record;
        std::string_view path = record.path().view();
        // On a terminal relative to the scan: the root stands above the list already, with the age of the scan. In a
        // pipe a path is one that other programs understand.
        // By bytes, and only where they are the same: the root may be spelled in another normal form.
        if (session.terminal.isOutput && path.size() > rootLength && path.starts_with(root.view()) &&
            path[rootLength - 1] == '/') {
            path.remove_prefix(rootLength);
        }
        table.addRow(
            {{.text = record.modifiedAt() ? localTime(*record.modifiedAt()) : "no date", .style = Style::quiet},
             {.text = session.size(record.displayBytes())},
             {.text = lines[i].kind, .style = Style::quiet},
             {.text = session.shown(path), .style = Style::file}});
    }
    // The path alone gives way where the terminal is narrow.
    table.write(session);
    if (shown < lines.size()) {
        session.out << fmt::format("… and {} more (see --limit)\n",
                                   ByteFormat::count(static_cast<std::int64_t>(lines.size() - shown)));
    }
}

}  // namespace KestrelCLI
