#include "Storage/History/GenerationSummary.hpp"

#include "Base/Parallel.hpp"
#include "Base/TextScan.hpp"
#include "Snapshot/SummaryGroups.hpp"
#include "Snapshot/SummaryPlace.hpp"
#include "Storage/History/ChunkColumns.hpp"
#include "Storage/History/PathSearch.hpp"
#include "Storage/History/RecordBuilder.hpp"
#include "Storage/History/RowValues.hpp"
#include "Storage/History/SnapshotRows.hpp"

#include <algorithm>
#include <atomic>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

// The files below a folder are a range of the stream of files. So the chunks that this range lies in are taken apart
// among threads, and of each only the columns are read that say what a file takes and which group it belongs to. Where
// it lies says the table of the folders, which has been read already. No name of a file and no record is made.

namespace KestrelCore {

namespace {

/// The folders at or below the asked one, and where the files in them lie.
struct Range {
    std::uint32_t firstFolder;
    std::uint32_t endOfFolders;
    std::uint32_t firstFile;
    std::uint32_t endOfFiles;
};

HistoryFields fieldsFor(SummaryGrouping grouping) {
    constexpr HistoryFields sizes =
        bit(HistoryField::kind) | bit(HistoryField::shape) | bit(HistoryField::logical) | bit(HistoryField::allocated);
    switch (grouping) {
    case SummaryGrouping::type:
    case SummaryGrouping::extension: return sizes | bit(HistoryField::extension);
    case SummaryGrouping::age: return sizes | bit(HistoryField::seconds);
    case SummaryGrouping::depth:
    case SummaryGrouping::size: break;
    }
    return sizes;
}

FileKind kindOf(std::uint64_t kind) { return static_cast<FileKind>(kind & 7); }

class GenerationSummary {
public:
    GenerationSummary(const GenerationRows& rows, const FolderTable& table, const Text& path,
                      const SummaryGroups& groups, const SummarySettings& settings)
        : rows_{rows}, table_{table}, path_{path}, groups_{groups}, settings_{settings} {
        findFolders();
    }

    std::optional<SummaryGroups::Tally> tally() {
        std::vector<SummaryGroups::Tally> tallies(1);
        if (!countIrregular(tallies.front()) && ranges_.empty()) return std::nullopt;
        const std::vector<StreamView::ChunkUse> chunks = rows_.files().chunks();
        for (const Range& range : ranges_) {
            const std::vector<SummaryPlace> places = placesIn(range);
            const auto isOutside = [&](const StreamView::ChunkUse& use) {
                return use.spans.back().position + use.spans.back().count <= range.firstFile ||
                       use.spans.front().position >= range.endOfFiles;
            };
            std::vector<const StreamView::ChunkUse*> wanted;
            for (const StreamView::ChunkUse& use : chunks) {
                if (!isOutside(use)) wanted.push_back(&use);
            }
            constexpr std::size_t mostThreads = 16;
            const std::size_t machine = std::clamp<std::size_t>(std::thread::hardware_concurrency(), 1, mostThreads);
            const auto threads = static_cast<unsigned>(std::clamp<std::size_t>(wanted.size(), 1, machine));
            if (tallies.size() < threads) tallies.resize(threads);
            std::atomic<std::size_t> next = 0;
            onThreads(threads, [&](unsigned thread) {
                ChunkColumns columns{rows_.files(), fieldsFor(groups_.grouping())};
                for (std::size_t i = next++; i < wanted.size() && !isGivenUp(); i = next++)
                    count(*wanted[i], range, places, columns, tallies[thread]);
            });
        }
        if (isGivenUp()) return std::nullopt;
        for (std::size_t i = 1; i < tallies.size(); ++i) tallies.front().add(tallies[i]);
        return std::move(tallies.front());
    }

private:
    [[nodiscard]] bool isGivenUp() const { return settings_.cancellation && settings_.cancellation->isCancelled(); }

    /// Several folders have the path where they are spelled in other code points.
    void findFolders() {
        if (table_.size() == 0) return;
        std::vector<std::uint32_t> folders;
        if (path_.view() == "/") {
            folders = {0};
        } else if (path_.view().starts_with('/')) {
            folders = placesOf({path_}, table_, rows_).front().folders;
        }
        for (const std::uint32_t folder : folders) {
            ranges_.push_back({.firstFolder = folder,
                               .endOfFolders = table_.end(folder),
                               .firstFile = table_.firstFile(folder),
                               .endOfFiles = table_.endOfFilesBelow(folder)});
        }
    }

    /// Of each folder of the range.
    [[nodiscard]] std::vector<SummaryPlace> placesIn(const Range& range) const {
        std::vector<SummaryPlace> places(range.endOfFolders - range.firstFolder,
                                         SummaryPlace{.depth = 1, .isInPackage = false});
        if (groups_.grouping() == SummaryGrouping::type) {
            RowReader reader{rows_.folders(), bit(HistoryField::kind) | bit(HistoryField::shape), false};
            for (std::uint32_t folder = range.firstFolder; folder < range.endOfFolders;) {
                const RowReader::Rows some = reader.at(folder);
                const std::uint32_t count = std::min(some.count, range.endOfFolders - folder);
                for (std::uint32_t i = 0; i < count; ++i) {
                    places[folder + i - range.firstFolder].isInPackage =
                        kindOf(some.value(HistoryField::kind, i)) == FileKind::package &&
                        (some.value(HistoryField::shape, i) & RowShape::noRecord) == 0;
                }
                folder += count;
            }
            for (const Text& package : irregularPackages_) {
                const std::uint32_t folder = table_.at(package.view());
                if (folder > range.firstFolder && folder < range.endOfFolders)
                    places[folder - range.firstFolder].isInPackage = true;
            }
        }
        // What is asked for may be a package itself, or lie in one: that says nothing about what is in it.
        places.front().isInPackage = false;
        for (std::uint32_t folder = range.firstFolder + 1; folder < range.endOfFolders; ++folder) {
            const SummaryPlace& above = places[table_.parent(folder) - range.firstFolder];
            SummaryPlace& place = places[folder - range.firstFolder];
            place.depth = above.depth + 1;
            place.isInPackage = place.isInPackage || above.isInPackage;
        }
        return places;
    }

    /// Adds what of a chunk lies in the range.
    void count(const StreamView::ChunkUse& use, const Range& range, const std::vector<SummaryPlace>& places,
               ChunkColumns& columns, SummaryGroups::Tally& tally) const {
        columns.open(use.layer, use.chunk);
        for (const StreamView::Span& span : use.spans) {
            const std::uint32_t first = std::max(span.position, range.firstFile);
            const std::uint32_t end = std::min(span.position + span.count, range.endOfFiles);
            if (first >= end) continue;
            std::uint32_t folder = table_.folderOf(first);
            for (std::uint32_t file = first; file < end;) {
                const ChunkColumns::Rows some = columns.at(span.row + (file - span.position));
                const std::uint32_t count = std::min(some.count, end - file);
                for (std::uint32_t i = 0; i < count; ++i, ++file) {
                    while (file >= table_.endOfFiles(folder)) ++folder;
                    add(*some.columns, some.first + i, places[folder - range.firstFolder], tally);
                }
            }
        }
    }

    void add(const RowColumns& columns, std::size_t i, const SummaryPlace& place, SummaryGroups::Tally& tally) const {
        const std::uint64_t kind = columns.value(HistoryField::kind, i);
        if (kindOf(kind) != FileKind::file) return;
        const std::uint64_t shape = columns.value(HistoryField::shape, i);
        const std::int64_t bytes =
            allocationOf({.allocated = columns.value(HistoryField::allocated, i), .shape = shape},
                         static_cast<std::int64_t>(columns.value(HistoryField::logical, i)));
        const auto byExtension = [&] {
            const std::uint64_t extension = columns.value(HistoryField::extension, i);
            if (extension >= groups_.extensionCount()) throwDamaged(rows_.generation());
            return groups_.ofExtension(static_cast<std::size_t>(extension));
        };
        const auto group = [&]() -> std::uint32_t {
            switch (groups_.grouping()) {
            case SummaryGrouping::type: return place.isInPackage ? SummaryGroups::applications : byExtension();
            case SummaryGrouping::extension: return byExtension();
            case SummaryGrouping::age: return groups_.ofAge(secondsOf(columns.value(HistoryField::seconds, i), shape));
            case SummaryGrouping::size: return SummaryGroups::ofSize(bytes);
            case SummaryGrouping::depth: break;
            }
            return place.depth;
        }();
        tally.add(group, bytesCounted(kind, static_cast<std::uint64_t>(bytes)));
    }

    /// The part behind the second is not asked for: it would be the largest column of all.
    static std::optional<std::int64_t> secondsOf(std::uint64_t seconds, std::uint64_t shape) {
        if ((shape & RowShape::noDate) != 0) return std::nullopt;
        if ((shape & RowShape::rawDate) != 0) return wholeSeconds(std::bit_cast<double>(seconds));
        return wholeSeconds(StoredUnits::joined(seconds, 0));
    }

    /// Adds what of the irregular records lies below the folder, and gives whether one of them is the folder itself.
    /// There are few.
    [[nodiscard]] bool countIrregular(SummaryGroups::Tally& tally) {
        const StreamView& view = rows_.irregular();
        const auto each = [&](const auto& use) {
            RowReader reader{view, fieldsFor(groups_.grouping()), true};
            for (std::uint32_t position = 0; position < view.size(); ++position) {
                const RowReader::Rows row = reader.at(position);
                const auto texts = irregularTexts(row.name(0));
                if (!texts) throwDamaged(rows_.generation());
                use(texts->path, row);
            }
        };
        bool isThere = false;
        each([&](const Text& path, const RowReader::Rows& row) {
            const FileKind kind = kindOf(row.value(HistoryField::kind, 0));
            if (kind == FileKind::package) irregularPackages_.push_back(path);
            const bool isContainer = kind == FileKind::package || kind == FileKind::directory;
            isThere = isThere || (isContainer && path == path_);
        });
        each([&](const Text& path, const RowReader::Rows& row) {
            const SummaryPlace place = placeOf(path);
            if (place.depth > 0) add(*row.columns, row.firstColumn, place, tally);
        });
        return isThere;
    }

    /// Where an irregular record lies.
    [[nodiscard]] SummaryPlace placeOf(const Text& path) const {
        const bool asksForPackages = groups_.grouping() == SummaryGrouping::type;
        return SummaryPlace::ofPath(path, path_,
                                    [&](std::string_view above) { return asksForPackages && isPackage(above); });
    }
    [[nodiscard]] bool isPackage(std::string_view path) const {
        const auto isThis = [&](const Text& package) { return package.view() == path; };
        if (std::ranges::any_of(irregularPackages_, isThis)) return true;
        const std::uint32_t folder = table_.at(path);
        if (folder == FolderTable::none || !table_.hasRecord(folder)) return false;
        RowReader reader{rows_.folders(), bit(HistoryField::kind), false};
        return kindOf(reader.at(folder).value(HistoryField::kind, 0)) == FileKind::package;
    }

    const GenerationRows& rows_;
    const FolderTable& table_;
    const Text& path_;
    const SummaryGroups& groups_;
    const SummarySettings& settings_;
    std::vector<Range> ranges_;
    std::vector<Text> irregularPackages_;
};

}  // namespace

std::optional<Summary> summaryOfGeneration(const GenerationRows& rows, const GenerationContext& context,
                                           const FolderTable& table, const Text& path, SummaryGrouping grouping,
                                           const SummarySettings& settings) {
    std::vector<Text> extensions;
    for (const std::string& extension : context.dictionary.extensions) {
        if (!isWellFormedUTF8(extension)) throwDamaged(rows.generation());
        extensions.emplace_back(extension);
    }
    const SummaryGroups groups{grouping, extensions, settings.now.value_or(Date::now())};
    const auto tally = GenerationSummary{rows, table, path, groups, settings}.tally();
    return tally ? std::optional{groups.summary(path, *tally)} : std::nullopt;
}

}  // namespace KestrelCore
