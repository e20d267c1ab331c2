#include "commands/Commands.hpp"

#include "commands/OptionValue.hpp"
#include "output/ByteFormat.hpp"
#include "output/JSONOutput.hpp"
#include "output/LibraryTable.hpp"
#include "output/ModelJSON.hpp"
#include "store/SavedSnapshot.hpp"
#include "terminal/Interruption.hpp"

#include "KestrelCore/Collections/MediaLibraryIndexer.hpp"
#include "KestrelCore/Platform/FileManager.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <memory>
#include <optional>

using namespace KestrelCore;

namespace KestrelCLI {

namespace {

struct MediaOptions {
    std::string kind;  ///< empty for both
    std::optional<std::size_t> limit;
};

constexpr std::size_t usualLimit = 40;

void writeAssets(JSONOutput& json, std::string_view key, const std::vector<MediaAsset>& assets, std::size_t limit) {
    json.beginArray(key);
    for (std::size_t i = 0; i < std::min(assets.size(), limit); ++i) writeRecord(json, assets[i].record);
    json.endArray();
}

void writeSection(const Session& session, const ScanSnapshot& snapshot, std::string_view title,
                  const std::vector<MediaAsset>& assets, std::int64_t bytes, std::size_t limit) {
    session.out << session.painted(Style::heading, title)
                << fmt::format("  {}, {}\n", ByteFormat::count(static_cast<std::int64_t>(assets.size())),
                               session.size(bytes));
    std::vector<LibraryLine> lines;
    for (const MediaAsset& asset : assets) lines.push_back({.record = asset.record, .kind = ""});
    writeLibrary(session, snapshot, lines, limit);
}

ExitCode media(const Session& session, const MediaOptions& options) {
    const ScanSnapshot snapshot = loadSavedSnapshot(session);
    MediaLibraryIndex index = MediaLibraryIndexer::makeIndex(snapshot, FileManager::standard()->homeDirectory());
    Interruption::check();
    // What was not asked for is neither shown nor counted.
    if (options.kind == "image") index.videos.clear();
    if (options.kind == "video") index.images.clear();
    if (session.options.json) {
        const std::size_t limit = options.limit.value_or(Command::unlimited);
        JSONOutput json{session.out};
        writeAssets(json, "images", index.images, limit);
        writeAssets(json, "videos", index.videos, limit);
        json.member("imageBytes", index.imageBytes());
        json.member("videoBytes", index.videoBytes());
        json.member("totalBytes", index.totalBytes());
        json.finish();
        return ExitCode::done;
    }
    const std::size_t limit = options.limit.value_or(usualLimit);
    writeAge(session, snapshot);
    if (options.kind != "video") writeSection(session, snapshot, "Photos", index.images, index.imageBytes(), limit);
    if (options.kind.empty()) session.out << '\n';
    if (options.kind != "image") writeSection(session, snapshot, "Videos", index.videos, index.videoBytes(), limit);
    return ExitCode::done;
}

}  // namespace

void addMediaCommand(CLI::App& app, Session& session) {
    const auto options = std::make_shared<MediaOptions>();
    CLI::App& command =
        addCommand(app,
                   {.name = "media",
                    .operands = "",
                    .description = "Shows the photos and videos of the saved scan, newest first.",
                    .examples = {"kestrel media", "kestrel media --kind video --limit 10", "kestrel media --json"}},
                   [&session, options](const Operands&) { return media(session, *options); });
    command.add_option("--kind", options->kind, "Only images, or only videos: image or video")
        ->type_name("KIND")
        ->option_text("KIND")
        ->check(CLI::IsMember({"image", "video"}));
    command
        .add_option("--limit", options->limit,
                    fmt::format("Show at most N of each (default: {}; with --json: all)", usualLimit))
        ->type_name("N")
        ->transform(wholeNumber());
}

}  // namespace KestrelCLI
