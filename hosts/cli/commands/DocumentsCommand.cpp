#include "commands/Commands.hpp"

#include "commands/LibraryCommand.hpp"
#include "output/JSONOutput.hpp"
#include "output/ModelJSON.hpp"
#include "store/SavedScan.hpp"
#include "terminal/Interruption.hpp"

#include "KestrelCore/Collections/DocumentLibraryIndexer.hpp"
#include "KestrelCore/Platform/FileManager.hpp"

#include <algorithm>

using namespace KestrelCore;

namespace KestrelCLI {

namespace {

ExitCode documents(const Session& session, const LibraryOptions& options) {
    const SavedScan scan = SavedScan::newest(session);
    const ScanSnapshot snapshot = scan.snapshot();
    // Of a scan of the whole disk only the areas of users count, hence the home directory.
    DocumentLibraryIndex index = DocumentLibraryIndexer::makeIndex(snapshot, FileManager::standard()->homeDirectory());
    Interruption::check();
    // What was not asked for is neither shown nor counted.
    if (!options.kind.empty()) {
        std::erase_if(index.documents,
                      [&](const DocumentAsset& asset) { return rawValue(asset.kind) != options.kind; });
    }
    if (session.options.json) {
        JSONOutput json{session.out};
        writeSnapshot(json, "snapshot", scan.summary());
        json.beginArray("documents");
        for (std::size_t i = 0; i < std::min(index.documents.size(), options.jsonLimit()); ++i) {
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
    std::vector<LibraryLine> lines;
    for (const DocumentAsset& asset : index.documents) {
        lines.push_back({.record = asset.record, .kind = std::string{rawValue(asset.kind)}});
    }
    if (options.print0) {
        writePaths(session, lines, options.jsonLimit());
        return ExitCode::done;
    }
    writeAge(session, scan.summary());
    writeLibrary(session, scan.summary(), "Documents", lines, index.totalBytes(), options.textLimit());
    return ExitCode::done;
}

}  // namespace

void addDocumentsCommand(CLI::App& app, Session& session) {
    // Asked of the library, so that a kind that it learns is one here too.
    std::vector<std::string> kinds;
    std::map<std::string, std::string> synonyms;
    std::string list;
    for (const DocumentAssetKind kind : allDocumentAssetKinds) {
        kinds.emplace_back(rawValue(kind));
        synonyms.emplace(kinds.back() + 's', kinds.back());
        list += (list.empty() ? "" : ", ") + kinds.back();
    }
    addLibraryCommand(app, session,
                      {.name = "documents",
                       .description = "Shows the documents of the saved scan, newest first.",
                       .examples = {"kestrel documents", "kestrel documents --kind pdf --limit 10"},
                       .kinds = kinds,
                       .synonyms = synonyms,
                       .kindHelp = "Only one kind: " + list,
                       .limitHelp = "Show at most N"},
                      documents);
}

}  // namespace KestrelCLI
