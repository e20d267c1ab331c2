#include "Deletion.hpp"

#include "DeletionSnapshot.hpp"
#include "Interruption.hpp"
#include "ModelJSON.hpp"
#include "Question.hpp"
#include "StorePath.hpp"
#include "Table.hpp"
#include "TerminalText.hpp"

#include "KestrelCore/Base/Path.hpp"
#include "KestrelCore/DeletionPlan.hpp"
#include "KestrelCore/Platform/FileManager.hpp"
#include "KestrelCore/SafetyPolicy.hpp"
#include "KestrelCore/TrashReceipts.hpp"

#include <algorithm>
#include <filesystem>
#include <fmt/format.h>
#include <unordered_map>
#include <vector>

namespace KestrelCLI {

namespace {

using namespace KestrelCore;

constexpr const char* missingMessage = "The item no longer exists or cannot be inspected.";

/// One path of the command line on its way.
struct PlannedItem {
    Text path;
    std::optional<FileRecord> record;
    RiskLevel risk = RiskLevel::normal;
    std::optional<Text> refusal;
};

std::int64_t sumOf(std::int64_t a, std::int64_t b) {
    std::int64_t sum = 0;
    return __builtin_add_overflow(a, b, &sum) ? a : sum;
}

/// Whether the path's text stands for these bytes. A text with replacement characters is another item's name.
bool isFaithful(const std::string& operand) {
    const auto isText = [](const std::string& bytes) { return Text{bytes}.view() == bytes; };
    if (operand.starts_with('/') || !isText(operand)) return isText(operand);
    std::error_code error;
    return isText(std::filesystem::current_path(error).string());
}

/// The places where the files of the store may be: beside the database as it is named, which may be a link, and beside
/// the database itself. No item that is removed has a link in its path, so each is also given without.
std::vector<Text> storePlaces(const Session& session) {
    const std::filesystem::path named = storePath(session);
    std::error_code ignored;
    return {named.string(), std::filesystem::weakly_canonical(named, ignored).string(),
            (std::filesystem::weakly_canonical(named.parent_path(), ignored) / named.filename()).string()};
}

PlannedItem planned(const std::string& operand, const std::optional<ScanSnapshot>& snapshot,
                    const DeletionOptions& options, const std::vector<Text>& stores) {
    PlannedItem item{.path = URL::fromPath(operand).standardized().path(), .record = {}, .refusal = {}};
    if (operand.find('\0') != std::string::npos || operand.empty()) {
        item.path = operand;
        item.refusal = "The path is empty or holds a NUL.";
        return item;
    }
    if (!isFaithful(operand)) {
        item.refusal = missingMessage;
        return item;
    }
    const URL url = URL::fromPath(item.path);
    item.risk = SafetyPolicy::risk(url);
    item.refusal = SafetyPolicy::blockedReason(url);
    if (!item.refusal && std::ranges::any_of(stores, [&](const Text& store) { return holdsStore(item.path, store); }))
        item.refusal = "Kestrel’s own snapshot database is there; “kestrel clear” empties it.";
    if (item.refusal) return item;

    // A canonically equal path with other bytes is another item.
    if (snapshot) item.record = snapshot->record(item.path);
    if (item.record && item.record->path().view() != item.path.view()) item.record.reset();
    if (!item.record) item.record = DeletionPlan::freshRecord(item.path, *FileManager::standard());
    if (!item.record) {
        item.refusal = missingMessage;
        return item;
    }
    // A saved rating may come from a tampered file; the stricter one holds.
    item.risk = std::max(item.risk, item.record->risk());
    item.refusal = DeletionPlan::refusal(*item.record);
    if (!item.refusal && item.risk == RiskLevel::blocked) item.refusal = "The item was rated as blocked when scanned.";
    if (!item.refusal && item.risk == RiskLevel::high && !options.includesHighRisk)
        item.refusal = "The item is of high risk; --include-high-risk lets it go.";
    return item;
}

/// The plan for a person: each item, and on the next line why it is refused. Nothing is shortened, whatever the width
/// of the terminal: what is agreed to must be seen whole. Names are escaped wherever they go to a terminal.
void showPlan(const Session& session, std::ostream& out, bool isTerminal, const std::vector<PlannedItem>& plan) {
    Table table{{{.title = "Size", .align = Table::Align::right}, {.title = "Risk"}, {.title = "Item"}}};
    for (const PlannedItem& item : plan) {
        const auto shown = [isTerminal](const Text& text) {
            return isTerminal ? TerminalText::escaped(text.view()) : text.string();
        };
        table.addRow({{item.record ? session.size(item.record->displayBytes()) : "–"},
                      {std::string{nameOf(item.risk)}},
                      {shown(item.path), item.refusal ? Style::quiet : Style::plain}});
        if (item.refusal) table.addRow({{""}, {""}, {"  Refused: " + shown(*item.refusal), Style::warning}});
    }
    table.write(out, 0, &out == &session.out && session.hasColor());
}

void writePlan(JSONOutput& json, const std::vector<PlannedItem>& plan) {
    json.beginArray("plan");
    for (const PlannedItem& item : plan) {
        json.beginObject();
        json.member("path", item.path.view());
        if (item.record) json.member("displayBytes", item.record->displayBytes());
        json.member("risk", nameOf(item.risk));
        if (item.refusal) json.member("refusal", item.refusal->view());
        json.endObject();
    }
    json.endArray();
}

void writeResults(JSONOutput& json, const std::vector<DeletionItemResult>& results) {
    json.beginArray("results");
    for (const DeletionItemResult& result : results) {
        json.beginObject();
        json.member("path", result.path.view());
        json.member("succeeded", result.succeeded);
        if (result.resultingPath) json.member("resultingPath", result.resultingPath->view());
        json.member("message", result.message.view());
        json.endObject();
    }
    json.endArray();
}

/// Bytes that went with the items; what lies in a folder that went too counts once, whatever the order.
std::int64_t reclaimedBytes(const std::vector<FileRecord>& records) {
    std::unordered_map<Text, std::int64_t> counted;  ///< by folder: what was counted below it
    std::int64_t total = 0;
    for (const FileRecord& record : records) {
        const auto before = counted.find(record.path());
        const std::int64_t bytes =
            std::max<std::int64_t>(0, record.displayBytes() - (before == counted.end() ? 0 : before->second));
        total = sumOf(total, bytes);
        for (Text above = Path::deletingLastComponent(record.path()); above.byteCount() > 1;
             above = Path::deletingLastComponent(above))
            counted[above] = sumOf(counted[above], bytes);
    }
    return total;
}

std::string itemCount(std::size_t count) { return count == 1 ? "1 item" : fmt::format("{} items", count); }

}  // namespace

std::string receiptsPath(const Session& session) { return storePath(session) + "-receipts"; }

bool holdsStore(const Text& path, const Text& store) {
    for (const char* ending : {"", "-wal", "-shm", "-lock", "-journal", "-receipts"}) {
        const Text part = Text::concatenating({store.view(), ending});
        if (path == part || Path::isBeneath(part, path) || Path::isBeneath(path, part)) return true;
    }
    return false;
}

ExitCode runDeletion(Session& session, const Operands& paths, const DeletionOptions& options) {
    const bool isTrash = options.mode == DeletionMode::trash;
    const std::optional<ScanSnapshot> snapshot = savedSnapshot(session);
    const std::vector<Text> stores = storePlaces(session);

    std::vector<PlannedItem> plan;
    std::vector<FileRecord> records;
    ExitCode code = ExitCode::done;
    for (const std::string& path : paths) {
        plan.push_back(planned(path, snapshot, options, stores));
        if (plan.back().refusal) {
            code = ExitCode::refused;
        } else {
            records.push_back(*plan.back().record);
        }
    }

    // In JSON the plan is part of the object; a person who is asked still needs to see it first.
    const bool asks = !options.isDryRun && !records.empty() && (isTrash ? !options.isConfirmed : !options.confirmation);
    if (!session.options.json) {
        showPlan(session, session.out, session.terminal.isOutput, plan);
    } else if (asks) {
        showPlan(session, session.messages, true, plan);
    }
    const std::string amount = fmt::format("{} ({})", itemCount(records.size()), session.size(reclaimedBytes(records)));

    std::vector<DeletionItemResult> results;
    std::vector<FileRecord> gone;
    std::vector<Text> gonePaths;
    bool isInterrupted = false;
    if (!options.isDryRun && !records.empty()) {
        std::optional<Text> typed;
        if (isTrash) {
            if (asks && !confirm(session, fmt::format("Move {} to the Trash?", amount), "--yes answers instead.")) {
                session.say("Nothing was moved.");
                return combined(code, ExitCode::failed);
            }
        } else if (options.confirmation) {
            typed = *options.confirmation;
        } else {
            typed = ask(session, fmt::format("Type DELETE to remove {} for good:", amount),
                        "--confirm DELETE answers instead.");
        }

        DeletionCoordinator coordinator{FileManager::standard()};
        const TrashReceipts receipts{receiptsPath(session)};
        for (const FileRecord& record : records) {
            isInterrupted = Interruption::isRequested();
            if (isInterrupted) break;
            results.push_back(receipts.execute(coordinator, {{record}, options.mode, typed}).front());
            const DeletionItemResult& result = results.back();
            if (result.succeeded) {
                gone.push_back(record);
            } else {
                code = combined(code, ExitCode::failed);
            }
            if (!session.options.json) {
                session.out << session.painted(result.succeeded ? Style::good : Style::bad,
                                               fmt::format("{}: {}", session.shown(result.path.view()),
                                                           session.shown(result.message.view())))
                            << '\n';
            }
        }
        for (const FileRecord& record : gone) gonePaths.push_back(record.path());
        saveWithout(session, gonePaths);
    }

    const std::int64_t reclaimable = reclaimedBytes(options.isDryRun ? records : gone);
    if (session.options.json) {
        JSONOutput json{session.out};
        writePlan(json, plan);
        writeResults(json, results);
        json.member("reclaimableBytes", reclaimable);
        if (options.afterwards) options.afterwards(&json, gonePaths);
        json.finish();
    } else if (options.isDryRun) {
        session.out << fmt::format("{} would go; nothing was touched.\n", amount);
    } else {
        session.out << fmt::format("{} {} ({}).\n", isTrash ? "Moved" : "Removed", itemCount(gone.size()),
                                   session.size(reclaimable));
        if (options.afterwards) options.afterwards(nullptr, gonePaths);
    }
    if (isInterrupted) {
        session.say(fmt::format("Interrupted: {} left as they were.", itemCount(records.size() - results.size())));
        return ExitCode::interrupted;
    }
    return code;
}

}  // namespace KestrelCLI
