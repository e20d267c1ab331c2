#include "Reclaim/FolderFacts.hpp"

#include "KestrelCore/Base/Path.hpp"
#include "Storage/History/ChunkColumns.hpp"
#include "Storage/History/RecordBuilder.hpp"
#include "Storage/History/RowValues.hpp"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <string_view>

namespace KestrelCore {

namespace {

constexpr std::uint64_t riskOf(std::uint64_t kind) { return kind >> 3 & 3; }

}  // namespace

std::uint64_t storedSeconds(double secondsSinceReferenceDate) {
    constexpr double most = 4e18;
    if (std::isnan(secondsSinceReferenceDate)) return 0;
    const double biased = std::floor(secondsSinceReferenceDate) + static_cast<double>(biasOfSeconds);
    return static_cast<std::uint64_t>(std::clamp(biased, 1.0, most));
}

FolderFacts::FolderFacts(const OpenGeneration& generation, const SuggestionSettings& settings)
    : table_{generation.tree()}, contents_{table_, generation.rows().folders(), 0}, flags_(table_.size()),
      newest_(table_.size()), obstacles_(table_.size() + std::size_t{1}), versions_(table_.size() + std::size_t{1}),
      bare_(table_.size() + std::size_t{1}) {
    if (table_.size() == 0) return;
    readColumns(generation.rows());
    findPlaces(settings);
    leaveOutOtherHomes(settings.places.home);
    findBareRepositories(generation.rows());
    findObstacles(generation);
    for (std::uint32_t folder = 0; folder < table_.size(); ++folder) {
        obstacles_[folder + std::size_t{1}] += obstacles_[folder];
        bare_[folder + std::size_t{1}] += bare_[folder];
        versions_[folder + std::size_t{1}] = versions_[folder] + (isOfVersionControl(table_.name(folder)) ? 1U : 0U);
    }
}

void FolderFacts::readColumns(const GenerationRows& rows) {
    constexpr std::uint64_t noDevice = ~std::uint64_t{0};
    std::vector<std::uint64_t> devices(table_.size(), noDevice);
    RowReader reader{rows.folders(),
                     bit(HistoryField::kind) | bit(HistoryField::shape) | bit(HistoryField::seconds) |
                         bit(HistoryField::device) | bit(HistoryField::newest),
                     false};
    for (std::uint32_t position = 0; position < table_.size();) {
        const RowReader::Rows some = reader.at(position);
        for (std::uint32_t i = 0; i < some.count; ++i, ++position) {
            newest_[position] = some.value(HistoryField::newest, i);
            if (!table_.hasRecord(position)) continue;
            const std::uint64_t kind = some.value(HistoryField::kind, i);
            const std::uint64_t shape = some.value(HistoryField::shape, i);
            const std::uint64_t seconds = some.value(HistoryField::seconds, i);
            if (riskOf(kind) != static_cast<std::uint64_t>(RiskLevel::blocked)) flags_[position] |= going;
            if (static_cast<FileKind>(kind & 7) == FileKind::package) flags_[position] |= ofProgram;
            if ((shape & RowShape::noDate) == 0) {
                const bool isRaw = (shape & RowShape::rawDate) != 0;
                newest_[position] =
                    std::max(newest_[position], isRaw ? storedSeconds(std::bit_cast<double>(seconds)) : seconds);
            }
            if ((shape & RowShape::noIdentity) == 0) devices[position] = some.value(HistoryField::device, i);
        }
    }
    for (std::uint32_t folder = table_.size(); --folder > 0;) {
        std::uint64_t& above = newest_[table_.parent(folder)];
        above = std::max(above, newest_[folder]);
        const std::uint64_t device = devices[table_.parent(folder)];
        if (devices[folder] != noDevice && device != noDevice && devices[folder] != device)
            obstacles_[folder + std::size_t{1}] = 1;
    }
}

void FolderFacts::mark(std::uint32_t folder, std::uint8_t flag) {
    for (std::uint32_t i = folder; i < table_.end(folder); ++i) flags_[i] |= flag;
}

void FolderFacts::forbid(std::uint32_t folder) {
    for (std::uint32_t i = folder; i < table_.end(folder); ++i) flags_[i] = 0;
}

void FolderFacts::findPlaces(const SuggestionSettings& settings) {
    const std::uint32_t home = table_.find(settings.places.home.view());
    const std::uint32_t asked = settings.folder ? table_.find(settings.folder->view()) : 0;
    if (home != FolderTable::none && home != 0) mark(home, own);
    if (asked != FolderTable::none) {
        mark(asked, lookedAt);
        if (settings.folder && asked != 0) mark(asked, own);
        flags_[asked] &= static_cast<std::uint8_t>(~going);
    }
    if (home != FolderTable::none) flags_[home] &= static_cast<std::uint8_t>(~going);
    for (std::uint32_t folder = 1; folder < table_.size(); ++folder) {
        const bool isTop = folder == home || (settings.folder && folder == asked);
        const std::uint32_t parent = table_.parent(folder);
        if (isTop) {
            flags_[folder] &= static_cast<std::uint8_t>(~ofProgram);
            continue;
        }
        flags_[folder] |= static_cast<std::uint8_t>(flags_[parent] & (hidden | ofProgram));
        const bool isOfSystem = table_.name(folder) == "Library" || table_.name(folder) == "snap";
        if (parent == home && isOfSystem) flags_[folder] |= ofProgram;
        if (!table_.name(folder).starts_with('.')) continue;
        flags_[folder] |= hidden;
        if (parent == home || parent == 0 || (settings.folder && parent == asked)) flags_[folder] |= ofProgram;
        // What a version control has in its store is no cache, whatever it is called.
        if (isOfVersionControl(table_.name(folder))) forbid(folder);
    }
}

void FolderFacts::leaveOutOtherHomes(const Text& home) {
    const auto leadsHome = [&](const Text& path) { return path == home || Path::isBeneath(home, path); };
    const Text above = Path::deletingLastComponent(home);
    std::vector<Text> holders{"/home", "/Users", "/export/home"};
    // Whatever a system calls it, people's homes lie side by side.
    if (above.view() != "/" && above.view() != "/tmp" && above.view() != "/var/tmp") holders.push_back(above);
    for (const Text& holder : holders) {
        const std::uint32_t folder = table_.find(holder.view());
        if (folder == FolderTable::none) continue;
        for (std::uint32_t child = folder + 1; child < table_.end(folder); child = table_.end(child)) {
            if (!leadsHome(Text{table_.path(child)})) forbid(child);
        }
    }
    for (const Text& other : {Text{"/root"}, Text{"/var/root"}}) {
        const std::uint32_t folder = table_.find(other.view());
        if (folder != FolderTable::none && !leadsHome(other)) forbid(folder);
    }
}

/// What such a repository has in it goes with it or not at all. A rule for the very place may still take it: caches are
/// made of them.
void FolderFacts::findBareRepositories(const GenerationRows& rows) {
    constexpr std::uint8_t objects = 1;
    constexpr std::uint8_t refs = 2;
    std::vector<std::uint8_t> holds(table_.size());
    for (std::uint32_t folder = 1; folder < table_.size(); ++folder) {
        const std::string_view name = table_.name(folder);
        if (name == "objects") holds[table_.parent(folder)] |= objects;
        if (name == "refs") holds[table_.parent(folder)] |= refs;
    }
    RowReader reader{rows.files(), 0, true};
    const auto holdsHead = [&](std::uint32_t folder) {
        const std::uint32_t end = table_.endOfFiles(folder);
        for (std::uint32_t file = table_.firstFile(folder); file < end;) {
            const RowReader::Rows some = reader.at(file);
            const std::uint32_t count = std::min(some.count, end - file);
            for (std::uint32_t i = 0; i < count; ++i) {
                if (some.name(i) == "HEAD") return true;
            }
            file += count;
        }
        return false;
    };
    for (std::uint32_t folder = 0; folder < table_.size(); ++folder) {
        if (holds[folder] != (objects | refs) || !holdsHead(folder)) continue;
        bare_[folder + std::size_t{1}] = 1;
        std::fill(flags_.begin() + folder + 1, flags_.begin() + table_.end(folder), std::uint8_t{0});
    }
}

void FolderFacts::findObstacles(const OpenGeneration& generation) {
    const auto obstruct = [&](Text path) {
        // The folder itself, or the nearest one above it.
        std::uint32_t folder = table_.find(path.view());
        while (folder == FolderTable::none && path.view().size() > 1) {
            path = Path::deletingLastComponent(path);
            folder = table_.find(path.view());
        }
        if (folder != FolderTable::none) obstacles_[folder + std::size_t{1}] = 1;
    };
    // What could not be read may be anything.
    for (const ScanIssue& issue : generation.issues()) {
        if (issue.path.view().starts_with('/')) obstruct(issue.path);
    }
    const StreamView& view = generation.rows().irregular();
    RowReader reader{view, 0, true};
    for (std::uint32_t position = 0; position < view.size(); ++position) {
        const auto texts = irregularTexts(reader.at(position).name(0));
        if (!texts) throwDamaged(generation.rows().generation());
        // The top of a scan is one; it goes as little as any other of these.
        if (texts->parentPath && texts->parentPath->view().starts_with('/')) obstruct(*texts->parentPath);
    }
}

}  // namespace KestrelCore
