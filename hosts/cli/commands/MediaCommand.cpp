#include "commands/Commands.hpp"

#include "commands/LibraryCommand.hpp"
#include "output/JSONOutput.hpp"
#include "output/ModelJSON.hpp"
#include "store/SavedScan.hpp"
#include "terminal/Interruption.hpp"

#include "KestrelCore/Collections/MediaLibraryIndexer.hpp"
#include "KestrelCore/Platform/FileManager.hpp"

#include <algorithm>

using namespace KestrelCore;

namespace KestrelCLI {

namespace {

void writeAssets(JSONOutput& json, std::string_view key, const std::vector<MediaAsset>& assets, std::size_t limit) {
    json.beginArray(key);
    for (std::size_t i = 0; i < std::min(assets.size(), limit); ++i) writeRecord(json, assets[i].record);
    json.endArray();
}

std::vector<LibraryLine> linesOf(const std::vector<MediaAsset>& assets) {
    std::vector<LibraryLine> lines;
    lines.reserve(assets.size());
    // The heading tells the kind.
    for (const MediaAsset& asset : assets) lines.push_back({.record = asset.record, .kind = ""});
    return lines;
}

ExitCode media(const Session& session, const LibraryOptions& options) {
    const SavedScan scan = SavedScan::newest(session);
    const ScanSnapshot snapshot = scan.snapshot();
    MediaLibraryIndex index = MediaLibraryIndexer::makeIndex(snapshot, FileManager::standard()->homeDirectory());
    Interruption::check();
    // What was not asked for is neither shown nor counted.
    if (options.kind == "image") index.videos.clear();
    if (options.kind == "video") index.images.clear();
    if (session.options.json) {
        JSONOutput json{session.out};
        writeSnapshot(json, "snapshot", scan.summary());
        writeAssets(json, "images", index.images, options.jsonLimit());
        writeAssets(json, "videos", index.videos, options.jsonLimit());
        json.member("imageBytes", index.imageBytes());
        json.member("videoBytes", index.videoBytes());
        json.member("totalBytes", index.totalBytes());
        json.finish();
        return ExitCode::done;
    }
    if (options.print0) {
        writePaths(session, linesOf(index.images), options.jsonLimit());
        writePaths(session, linesOf(index.videos), options.jsonLimit());
        return ExitCode::done;
    }
    writeAge(session, scan.summary());
    if (options.kind != "video")
        writeLibrary(session, scan.summary(), "Photos", linesOf(index.images), index.imageBytes(), options.textLimit());
    // A blank line between the two lists.
    if (options.kind.empty()) session.out << '\n';
    if (options.kind != "image")
        writeLibrary(session, scan.summary(), "Videos", linesOf(index.videos), index.videoBytes(), options.textLimit());
    return ExitCode::done;
}

}  // namespace

void addMediaCommand(CLI::App& app, Session& session) {
    addLibraryCommand(app, session,
                      {.name = "media",
                       .description = "Shows the photos and videos of the saved scan, newest first.",
                       .examples = {"kestrel media", "kestrel media --kind video --limit 10", "kestrel media --json"},
                       .kinds = {"image", "video"},
                       .synonyms = {{"images", "image"},
                                    {"photo", "image"},
                                    {"photos", "image"},
                                    {"picture", "image"},
                                    {"pictures", "image"},
                                    {"videos", "video"},
                                    {"film", "video"},
                                    {"films", "video"},
                                    {"movie", "video"},
                                    {"movies", "video"}},
                       .kindHelp = "Only photos, or only videos: image (or photo) or video",
                       .limitHelp = "Show at most N of each"},
                      media);
}

}  // namespace KestrelCLI
