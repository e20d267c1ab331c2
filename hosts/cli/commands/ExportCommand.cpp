#include "commands/Commands.hpp"

#include "commands/OptionValue.hpp"
#include "commands/Suggestion.hpp"
#include "output/ByteFormat.hpp"
#include "output/JSONOutput.hpp"
#include "store/SavedScan.hpp"
#include "store/WholeFile.hpp"
#include "terminal/Interruption.hpp"
#include "terminal/InterruptionWatch.hpp"

#include "KestrelCore/Exchange/SnapshotExport.hpp"

#include <fmt/format.h>

#include <cstdint>
#include <filesystem>
#include <ios>
#include <map>
#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <utility>

using namespace KestrelCore;

namespace KestrelCLI {

namespace {

struct WriteOptions {
    std::optional<ExchangeFormat> format;
    std::optional<std::string> output;
    bool force = false;
};

/// Ends an export whose reader went away: what is to be said of it is said at the end of the program.
class OutputClosed {};

ExchangePacking packingOf(std::string_view& name) {
    for (const auto& [ending, packing] : {std::pair{std::string_view{".gz"}, ExchangePacking::gzip},
                                          {std::string_view{".zst"}, ExchangePacking::zstd}}) {
        if (!name.ends_with(ending)) continue;
        name.remove_suffix(ending.size());
        return packing;
    }
    return ExchangePacking::none;
}

/// What a file of that name, without the ending of a packing, is expected to hold.
ExchangeFormat formatOf(std::string_view name) {
    const std::string ending = lowercasedASCII(std::filesystem::path{name}.extension().string());
    if (ending == ".csv") return ExchangeFormat::csv;
    if (ending == ".jsonl" || ending == ".ndjson") return ExchangeFormat::lines;
    if (ending.empty() || ending == ".json" || ending == ".ncdu") return ExchangeFormat::ncdu;
    throw UsageError{
        fmt::format("Which form a file in {} is to have is not known: say --format ncdu, json or csv. Names in .json "
                    "(ncdu), .jsonl and .csv say it themselves, also with .gz or .zst behind.",
                    ending)};
}

ExitCode exportScan(const Session& session, const WriteOptions& options, const Operands& operands) {
    const bool isToFile = options.output && *options.output != "-";
    if (!isToFile && session.options.json)
        throw UsageError{"--json tells what was written, so that the export itself needs a file: -o FILE."};
    if (!isToFile && session.terminal.isOutput)
        throw UsageError{"An export is for programs: -o FILE, or a pipe, takes it."};
    std::string_view name = isToFile ? std::string_view{*options.output} : std::string_view{};
    ExportOptions settings;
    settings.packing = packingOf(name);
    settings.format = options.format ? *options.format : formatOf(name);
    const NamedRecord named = NamedRecord::folder(session, operands);
    const InterruptionWatch watch;
    settings.cancellation = watch.token();
    const auto run = [&](const ByteSink& sink) {
        auto result = named.scan.exportFolder(named.record.path(), sink, settings);
        Interruption::check();
        if (!result)
            throw PathError{fmt::format("{} is not a folder.", named.record.path().view()),
                            named.record.path().string()};
        return *result;
    };
    if (!isToFile) {
        std::ostream& out = session.raw();
        try {
            (void)run([&](std::string_view bytes) {
                if (!out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()))) throw OutputClosed{};
            });
        } catch (const OutputClosed&) {
            return ExitCode::failed;
        }
        return ExitCode::done;
    }
    ExportResult result;
    std::int64_t written = 0;
    writeWholeFile(*options.output, options.force ? ExistingFile::replace : ExistingFile::keep, [&](std::ostream& out) {
        result = run([&](std::string_view bytes) {
            out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
            written += static_cast<std::int64_t>(bytes.size());
        });
    });
    if (session.options.json) {
        JSONOutput json{session.out};
        json.member("written", std::string_view{*options.output});
        json.member("writtenBytes", written);
        json.member("records", result.records);
        json.member("totalAllocatedBytes", result.totalAllocatedBytes);
        json.finish();
        return ExitCode::done;
    }
    session.out << fmt::format("{}: {} {} of {}, {} as a file of {}\n", session.shown(*options.output),
                               ByteFormat::count(result.records), result.records == 1 ? "item" : "items",
                               session.shownPath(named.record.path().view()), session.size(result.totalAllocatedBytes),
                               session.size(written));
    return ExitCode::done;
}

}  // namespace

void addExportCommand(CLI::App& app, Session& session) {
    const auto options = std::make_shared<WriteOptions>();
    const CommandOptions command = addCommand(
        app,
        {.name = "export",
         .operands = "[PATH]",
         .description = "Writes a folder as it was scanned, for other programs: as ncdu and gdu read it, as lines of "
                        "JSON, or as a table.",
         .examples = {"kestrel export -o home.json && ncdu -f home.json", "kestrel export ~/Music -o music.csv",
                      "kestrel export --format json /srv | jq -r .path", "kestrel export -o home.json.gz"},
         .mostOperands = 1,
         .operandKind = ValueKind::folder,
         .readsSavedScan = true},
        [&session, options](const Operands& operands) { return exportScan(session, *options, operands); });
    const std::map<std::string, ExchangeFormat> formats{
        {"ncdu", ExchangeFormat::ncdu}, {"json", ExchangeFormat::lines}, {"csv", ExchangeFormat::csv}};
    command
        .choice("--format", options->format, formats,
                "Write the form of ncdu (default), JSON lines, or a table for spreadsheets (defaults with a FILE "
                "in .jsonl and .csv)")
        .valueName("ncdu|json|csv");
    command
        .value("-o,--output", options->output,
               "Write to FILE, compressed where it ends in .gz or .zst (default: standard output)")
        .valueName("FILE")
        .check(takes(ValueKind::file));
    command.flag("--force", options->force, "Replace FILE if it is there");
}

}  // namespace KestrelCLI
