#include "store/HistoryAccess.hpp"

#include "output/Times.hpp"
#include "store/Places.hpp"

#include "KestrelCore/Base/Path.hpp"
#include "KestrelCore/Base/URL.hpp"
#include "KestrelCore/Storage/SQLiteSnapshotStore.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <exception>
#include <iterator>
#include <stdexcept>
#include <string>
#include <variant>

using namespace KestrelCore;

namespace KestrelCLI {

namespace {

/// Brings the one scan that earlier versions kept into the empty history, and empties their database, which is far
/// larger.
void takeOver(const Remark& remark, SnapshotHistory& history) {
    const std::string place = earlierStorePath();
    if (!isStoreThere(place)) return;
    try {
        SQLiteSnapshotStore store{URL::fromPath(place)};
        const auto snapshot = store.loadLatest();
        if (!snapshot) return;
        // Sizes are added up later, by many.
        if (!snapshot->isConsistent()) throw std::runtime_error{"It contradicts itself."};
        (void)history.add(*snapshot, GenerationOrigin::import);
        // Another scan may have been saved meanwhile, by an earlier version.
        const auto left = store.loadLatest();
        if (left && left->id() == snapshot->id()) store.clear();
        remark(fmt::format("The saved scan of {} from {} is in the history now.", snapshot->scope().root.path().view(),
                           localTime(snapshot->completedAt())));
    } catch (const std::exception& error) {
        remark(fmt::format("The scan in {} could not be taken over into the history: {}", place, error.what()));
    }
}

}  // namespace

std::shared_ptr<SnapshotHistory> openHistory(const Session& session) {
    return openHistory(session, [&session](std::string_view sentence) { session.say(sentence); });
}

std::shared_ptr<SnapshotHistory> openHistory(const Session& session, const Remark& remark) {
    if (session.options.store)
        throw UsageError{"--store names a database with one scan. Without it, kestrel works on the history."};
    auto history = std::make_shared<SnapshotHistory>(URL::fromPath(historyPath()));
    if (isStoreThere(earlierStorePath()) && history->generations().empty()) takeOver(remark, *history);
    return history;
}

bool covers(const Generation& generation, const Text& path) {
    const Text root = generation.scope.root.path();
    return root == path || root.view() == "/" || Path::isBeneath(path, root);
}

bool isImported(const Generation& generation) { return generation.source.name.has_value(); }

std::vector<Generation> scansOfThisDisk(const SnapshotHistory& history) {
    std::vector<Generation> scans = history.generations();
    std::erase_if(scans, isImported);
    return scans;
}

std::vector<Generation> importsNamed(std::string_view when, const std::vector<Generation>& all) {
    std::vector<Generation> named;
    const auto time = parseWhen(when, Date::now());
    std::ranges::copy_if(all, std::back_inserter(named), [&](const Generation& each) {
        if (!isImported(each)) return false;
        if (time) return std::holds_alternative<std::int64_t>(*time) && std::get<std::int64_t>(*time) == each.number;
        return each.source.name->view() == when;
    });
    return named;
}

std::vector<Generation> scansToAnswerFrom(const Session& session, const SnapshotHistory& history) {
    std::vector<Generation> all = history.generations();
    if (session.options.at) {
        std::vector<Generation> named = importsNamed(*session.options.at, all);
        if (!named.empty()) return named;
    }
    std::erase_if(all, isImported);
    return all;
}

void checkAtOption(const Session& session) {
    if (!session.options.at || parseWhen(*session.options.at, Date::now())) return;
    if (!session.options.store && !importsNamed(*session.options.at, openHistory(session)->generations()).empty())
        return;
    (void)whenOption(*session.options.at, Date::now());  // throws, with the reason
}

std::string importRemark(const Generation& generation) {
    if (!isImported(generation)) return {};
    const std::string from = generation.source.name->string();
    return generation.source.host ? fmt::format("import “{}”, disk of {}", from, generation.source.host->view())
                                  : fmt::format("import “{}”", from);
}

std::optional<std::string> incompleteRemark(const Generation& generation, const std::vector<Generation>& others) {
    if (generation.isComplete) return std::nullopt;
    const Text root = generation.scope.root.path();
    const auto whole = std::ranges::find_if(
        others, [&](const Generation& each) { return each.isComplete && each.scope.root.path() == root; });
    return fmt::format("Scan {} of {} was stopped before its end: items are missing, and folders look too small.{}",
                       generation.number, root.view(),
                       whole == others.end() ? "" : fmt::format(" --at {} answers from a whole one.", whole->number));
}

void warnOfIncomplete(const Session& session, const Generation& generation, const std::vector<Generation>& others) {
    if (const auto remark = incompleteRemark(generation, others)) session.say(*remark);
}

const Generation* chosen(const std::vector<Generation>& generations, const When& when) {
    const auto found = std::ranges::find_if(generations, [&](const Generation& each) {
        if (const auto* number = std::get_if<std::int64_t>(&when)) return each.number == *number;
        return each.completedAt <= std::get<Date>(when);
    });
    return found == generations.end() ? nullptr : &*found;
}

const Generation& chosenByOption(const Session& session, const std::vector<Generation>& generations) {
    if (!session.options.at) return generations.front();
    const Date now = Date::now();
    if (const std::vector<Generation> named = importsNamed(*session.options.at, generations); !named.empty()) {
        return *std::ranges::find(generations, named.front().number, &Generation::number);
    }
    if (const Generation* found = chosen(generations, whenOption(*session.options.at, now))) return *found;
    const Generation& oldest = generations.back();
    throw std::runtime_error{fmt::format("--at {} means no saved scan that could answer this. The oldest that could is "
                                         "{}, from {}; kestrel history lists all.",
                                         *session.options.at, oldest.number, localTime(oldest.completedAt))};
}

}  // namespace KestrelCLI
