#include "commands/Commands.hpp"

#include "commands/OptionValue.hpp"
#include "output/ByteFormat.hpp"
#include "output/JSONOutput.hpp"
#include "output/LibraryTable.hpp"
#include "output/ModelJSON.hpp"
#include "store/SavedSnapshot.hpp"
#include "terminal/Interruption.hpp"

#include "KestrelCore/Collections/DocumentLibraryIndexer.hpp"
#include "KestrelCore/Platform/FileManager.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <memory>
#include <optional>

using namespace KestrelCore;

namespace KestrelCLI {

namespace {

struct DocumentOptions {
    std::string kind;  ///< empty for all
    std::optional<std::size_t> limit;
};

constexpr std::size_t usualLimit = 40;

ExitCode documents(const Session& session, const DocumentOptions& options) {
    const ScanSnapshot snapshot = loadSavedSnapshot(session);
    DocumentLibraryIndex index = DocumentLibraryIndexer::makeIndex(snapshot, FileManager::standard()->homeDirectory());
    Interruption::check();
    // What was not asked for is neither shown nor counted.
    if (!options.kind.empty()) {
        std::erase_if(index.documents,
                      [&](const DocumentAsset& asset) { return rawValue(asset.kind) != options.kind; });
    }
    if (session.options.json) {
        JSONOutput json{session.out};
        json.beginArray("documents");
        const std::size_t limit = options.limit.value_or(Command::unlimited);
        for (std::size_t i = 0; i < std::min(index.documents.size(), limit); ++i) {
            json.beginObject();
            writeRecordMembers(json, index.documents[i].record);
            json.member("documentKind", rawValue(index.documents[i].kind));
            json.endObject();
        }
        json.endArray();
        json.member("totalBytes", index.totalBytes());
        json.finish();
        return ExitCode::done;
    }
    writeAge(session, snapshot);
    session.out << session.painted(Style::heading, "Documents")
                << fmt::format("  {}, {}\n", ByteFormat::count(static_cast<std::int64_t>(index.documents.size())),
                               session.size(index.totalBytes()));
    std::vector<LibraryLine> lines;
    for (const DocumentAsset& asset : index.documents) {
        lines.push_back({.record = asset.record, .kind = std::string{rawValue(asset.kind)}});
    }
    writeLibrary(session, snapshot, lines, options.limit.value_or(usualLimit));
    return ExitCode::done;
}

}  // namespace

void addDocumentsCommand(CLI::App& app, Session& session) {
    const auto options = std::make_shared<DocumentOptions>();
    CLI::App& command = addCommand(app,
                                   {.name = "documents",
                                    .operands = "",
                                    .description = "Shows the documents of the saved scan, newest first.",
                                    .examples = {"kestrel documents", "kestrel documents --kind pdf --limit 10"}},
                                   [&session, options](const Operands&) { return documents(session, *options); });
    std::vector<std::string> kinds;
    std::string list;
    for (const DocumentAssetKind kind : allDocumentAssetKinds) {
        kinds.emplace_back(rawValue(kind));
        list += (list.empty() ? "" : ", ") + kinds.back();
    }
    command.add_option("--kind", options->kind, "Only one kind: " + list)
        ->type_name("KIND")
        ->option_text("KIND")
        ->check(CLI::IsMember(kinds));
    command
        .add_option("--limit", options->limit,
                    fmt::format("Show at most N (default: {}; with --json: all)", usualLimit))
        ->type_name("N")
        ->transform(wholeNumber());
}

}  // namespace KestrelCLI
