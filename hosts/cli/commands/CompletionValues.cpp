#include "commands/CompletionValues.hpp"

#include "output/ProcessRow.hpp"
#include "output/SuggestionList.hpp"
#include "output/Times.hpp"
#include "store/HistoryAccess.hpp"
#include "store/KnownReceipts.hpp"
#include "store/Places.hpp"

#include "KestrelCore/Applications/ApplicationInspector.hpp"
#include "KestrelCore/Applications/ApplicationRecord.hpp"
#include "KestrelCore/Applications/DesktopApplicationInspector.hpp"
#include "KestrelCore/Base/Date.hpp"
#include "KestrelCore/Base/Path.hpp"
#include "KestrelCore/Base/URL.hpp"
#include "KestrelCore/Deletion/TrashReceipts.hpp"
#include "KestrelCore/Metrics/SystemMetrics.hpp"
#include "KestrelCore/Platform/DesktopLocations.hpp"
#include "KestrelCore/Reclaim/ReclaimCatalogue.hpp"
#include "KestrelCore/Storage/SnapshotHistory.hpp"

#include <fmt/format.h>

#include <unistd.h>

#include <algorithm>
#include <array>
#include <iterator>
#include <map>
#include <set>

// A person waits for each of these with a finger on the key, so everything here takes some milliseconds: lists that the
// program keeps, and what the kernel tells at once. Nothing is scanned, measured or opened for writing.

using namespace KestrelCore;

namespace KestrelCLI {

namespace {

using Words = std::vector<CompletionWord>;

struct FilterWord {
    const char* word;
    const char* about;
};

/// The words of the language of searches, but for sizes, whose signs a shell takes for its own.
constexpr std::array filterWords{
    FilterWord{"type:", "items of a kind"},
    FilterWord{"ext:", "items with this extension"},
    FilterWord{"in:", "items with this text in their path"},
    FilterWord{"big", "at least 500 MB"},
    FilterWord{"huge", "at least 1 GB"},
    FilterWord{"recent", "changed in the last 30 days"},
    FilterWord{"old", "not changed for a year"},
    FilterWord{"hidden", "hidden items only"},
    FilterWord{"images", "by their extensions"},
    FilterWord{"videos", "by their extensions"},
    FilterWord{"music", "by their extensions"},
    FilterWord{"documents", "by their extensions"},
    FilterWord{"archives", "by their extensions"},
    FilterWord{"apps", "packages"},
    FilterWord{"folders", "folders"},
    FilterWord{"downloads", "below a downloads folder"},
    FilterWord{"developer", "what developer tools keep"},
};
constexpr std::array kindWords{
    FilterWord{"type:file", ""}, FilterWord{"type:folder", ""}, FilterWord{"type:app", "packages"},
    FilterWord{"type:link", ""}, FilterWord{"type:other", ""},
};

Words queryWords(std::string_view typed) {
    Words words;
    const auto add = [&](const auto& all) {
        for (const FilterWord& each : all) words.push_back({each.word, each.about});
    };
    typed.starts_with("type:") ? add(kindWords) : add(filterWords);
    return words;
}

/// Of the history as it is, which need not be there. A database that --store names has none.
std::vector<Generation> savedScans(const Session& session) {
    const auto path = usualHistoryPath();
    if (session.options.store || !path || !isStoreThere(*path)) return {};
    return SnapshotHistory{URL::fromPath(*path)}.generations();
}

Words scanWords(const Session& session, ValueKind kind) {
    Words words;
    std::set<std::string> names;
    const Date now = Date::now();
    for (const Generation& scan : savedScans(session)) {
        const std::string what = fmt::format("{}, {}, {}", session.shownPath(scan.scope.root.path().view()),
                                             age(scan.completedAt, now), session.size(scan.totalAllocatedBytes));
        if (kind == ValueKind::scan && scan.source.name && names.insert(scan.source.name->string()).second)
            words.push_back({scan.source.name->string(), "imported: " + what});
        words.push_back({std::to_string(scan.number), what});
    }
    return words;
}

/// Names first, each once; then identifiers, the newest process first. The system's own threads can't be asked.
Words processWords() {
    ProcessSampler sampler;
    ProcessInspector inspector;
    std::map<std::string, int> names;
    Words identifiers;
    for (const ProcessRow& row : processRows(sampler.sample(), inspector)) {
        if (row.description.isKernelThread || row.sample.id == getpid()) continue;
        ++names[row.sample.name.string()];
        const std::string user = row.description.user ? row.description.user->string() : std::string{};
        identifiers.push_back({std::to_string(row.sample.id),
                               user.empty() ? row.sample.name.string() : row.sample.name.string() + " of " + user});
    }
    std::ranges::reverse(identifiers);
    Words words;
    for (const auto& [name, count] : names)
        words.push_back({name, count == 1 ? "1 process" : fmt::format("{} processes", count)});
    words.insert(words.end(), identifiers.begin(), identifiers.end());
    return words;
}

Words userWords() {
    ProcessSampler sampler;
    ProcessInspector inspector;
    std::map<std::string, int> users;
    for (const ProcessRow& row : processRows(sampler.sample(), inspector)) {
        if (row.description.user) ++users[row.description.user->string()];
    }
    Words words;
    for (const auto& [name, count] : users)
        words.push_back({name, count == 1 ? "1 process" : fmt::format("{} processes", count)});
    return words;
}

Words applicationWords() {
    Words words;
    std::set<std::string> names;
    std::vector<ApplicationRecord> applications = ApplicationInspector{}.listedApplications();
    if (DesktopLocations::existHere())
        std::ranges::move(DesktopApplicationInspector{}.listedApplications(), std::back_inserter(applications));
    for (const ApplicationRecord& each : applications) {
        if (names.insert(each.displayName.string()).second)
            words.push_back({each.displayName.string(), each.bundleIdentifier.value_or(Text{}).string()});
    }
    return words;
}

Words ruleWords() {
    Words words;
    for (const ReclaimCertainty certainty : allReclaimCertainties)
        words.push_back({wordFor(certainty), "all rules of this kind"});
    const ReclaimCatalogue catalogue = ReclaimCatalogue::standard();
    for (const ReclaimRule& rule : catalogue.rules()) words.push_back({rule.identifier.string(), rule.title.string()});
    return words;
}

/// The names of what can come back, each once.
Words receiptWords(const Session& session) {
    const auto path = usualReceiptsPath();
    if (session.options.store || !path) return {};
    Words words;
    std::set<std::string> names;
    const Date now = Date::now();
    for (const TrashReceipt& receipt : TrashReceipts{*path}.receipts()) {
        constexpr std::size_t most = 200;  // the disk is asked for each
        if (names.size() == most) break;
        const std::string name = Path::lastComponent(receipt.path).string();
        if (!TrashReceipts::presentPlace(receipt) || !names.insert(name).second) continue;
        words.push_back(
            {name, fmt::format("from {}, {}", session.shownPath(Path::deletingLastComponent(receipt.path).view()),
                               age(receipt.trashedAt, now))});
    }
    return words;
}

Words valuesOf(const Session& session, ValueKind kind, std::string_view typed) {
    switch (kind) {
    case ValueKind::scan:
    case ValueKind::scanNumber: return scanWords(session, kind);
    case ValueKind::process: return processWords();
    case ValueKind::user: return userWords();
    case ValueKind::application: return applicationWords();
    case ValueKind::rule: return ruleWords();
    case ValueKind::receipt: return receiptWords(session);
    case ValueKind::query: return queryWords(typed);
    case ValueKind::text:
    case ValueKind::file:
    case ValueKind::folder:
    case ValueKind::command: break;
    }
    return {};
}

}  // namespace

std::vector<CompletionWord> completionValues(const Session& session, ValueKind kind, std::string_view typed) {
    try {
        return valuesOf(session, kind, typed);
    } catch (const std::exception&) {
        // Who completes a word is not helped by an error in the middle of the line; the command itself tells it.
        return {};
    }
}

}  // namespace KestrelCLI
