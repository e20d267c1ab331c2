#include "commands/Commands.hpp"

#include "commands/Deletion.hpp"
#include "output/ModelJSON.hpp"
#include "output/Table.hpp"
#include "store/Places.hpp"
#include "terminal/Interruption.hpp"

#include "KestrelCore/Deletion/TrashReceipts.hpp"

#include <algorithm>
#include <cctype>
#include <fmt/format.h>
#include <iterator>
#include <map>
#include <string>
#include <vector>

// Receipts are found by the beginning of their identifier, as people copy it from the list. Everything that is named is
// looked up before anything is moved: a mistyped name does nothing at all. Then each receipt is restored by itself, and
// one that fails keeps none of the others from its place. The library never overwrites; a place that is taken is told.

namespace KestrelCLI {

namespace {

using KestrelCore::DeletionItemResult;
using KestrelCore::TrashReceipt;
using KestrelCore::TrashReceipts;

/// Enough of an identifier to tell receipts apart when they are listed.
constexpr std::size_t shownDigits = 8;

/// Finds receipts by the beginning of their identifier, many as fast as few.
class ReceiptNames {
public:
    explicit ReceiptNames(const std::vector<TrashReceipt>& receipts) {
        for (const TrashReceipt& receipt : receipts) named_.emplace(receipt.id.uuidString(), &receipt);
    }

    /// The one receipt whose identifier begins with `text`, in either case.
    [[nodiscard]] const TrashReceipt& find(std::string text) const {
        std::ranges::transform(text, text.begin(), [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
        const auto found = named_.lower_bound(text);
        if (text.empty() || found == named_.end() || !found->first.starts_with(text))
            throw UsageError{fmt::format("There is no receipt “{}”.", text)};
        // The names are sorted, so that all with one beginning stand together.
        const auto next = std::next(found);
        if (next != named_.end() && next->first.starts_with(text))
            throw UsageError{fmt::format("More than one receipt begins with “{}”.", text)};
        return *found->second;
    }

private:
    std::map<std::string, const TrashReceipt*> named_;
};

void writeReceipts(JSONOutput& json, const std::vector<TrashReceipt>& receipts) {
    json.beginArray("receipts");
    for (const TrashReceipt& receipt : receipts) {
        // Asked of the disk: the user may have moved or emptied the Trash since. What is gone keeps the place it had.
        const auto place = TrashReceipts::presentPlace(receipt);
        json.beginObject();
        json.member("id", receipt.id.uuidString());
        json.member("path", receipt.path.view());
        const auto& shown = place ? place : receipt.resultingPath;
        if (shown) json.member("resultingPath", shown->view());
        writeDate(json, "trashedAt", receipt.trashedAt);
        json.member("present", place.has_value());
        json.endObject();
    }
    json.endArray();
}

/// Newest first, as the library gives them, with whether each item still is where it was moved to.
void showReceipts(const Session& session, const std::vector<TrashReceipt>& receipts) {
    if (receipts.empty()) {
        session.out << "Nothing was moved to the Trash from here.\n";
        return;
    }
    Table table{
        {{.title = "Receipt"}, {.title = "Moved"}, {.title = "In the Trash"}, {.title = "From", .shrinks = true}}};
    for (const TrashReceipt& receipt : receipts) {
        const bool isPresent = TrashReceipts::presentPlace(receipt).has_value();
        table.addRow({{receipt.id.uuidString().substr(0, shownDigits)},
                      {receipt.trashedAt.rfc3339()},
                      {isPresent ? "yes" : "no", isPresent ? Style::good : Style::quiet},
                      {session.shown(receipt.path.view())}});
    }
    table.write(session.out, session.columns(), session.hasColor());
}

/// Lists all receipts, or restores those that are named, in the order of their names on the command line.
ExitCode run(Session& session, const Operands& names) {
    const TrashReceipts store{receiptsPath(session)};
    const std::vector<TrashReceipt> receipts = store.receipts();
    std::vector<TrashReceipt> chosen;
    const ReceiptNames named{receipts};
    for (const std::string& name : names) chosen.push_back(named.find(name));

    std::optional<JSONOutput> json;
    if (session.options.json) {
        json.emplace(session.out);
        writeReceipts(*json, names.empty() ? receipts : chosen);
        json->beginArray("results");
    } else if (names.empty()) {
        showReceipts(session, receipts);
    }
    ExitCode code = ExitCode::done;
    for (const TrashReceipt& receipt : chosen) {
        // Between two items only: one that was begun is brought to its end, so that it lies in one place.
        if (Interruption::isRequested()) {
            code = ExitCode::interrupted;
            break;
        }
        const DeletionItemResult result = store.restore(receipt);
        code = combined(code, exitCode(result));
        if (json) {
            json->beginObject();
            json->member("path", result.path.view());
            json->member("succeeded", result.succeeded);
            if (result.resultingPath) json->member("resultingPath", result.resultingPath->view());
            json->member("message", result.message.view());
            json->endObject();
        } else {
            session.out << session.shown(result.path.view()) << ": " << session.shown(result.message.view()) << '\n';
        }
    }
    if (json) {
        json->endArray();
        json->finish();
    }
    return code;
}

}  // namespace

void addRestoreCommand(CLI::App& app, Session& session) {
    addCommand(app,
               {.name = "restore",
                .operands = "[RECEIPT…]",
                .description = "Lists what “kestrel trash” moved away, or puts it back; never overwrites.",
                .examples = {"kestrel restore", "kestrel restore 1B4E28BA"},
                .mostOperands = Command::unlimited},
               [&session](const Operands& names) { return run(session, names); });
}

}  // namespace KestrelCLI
