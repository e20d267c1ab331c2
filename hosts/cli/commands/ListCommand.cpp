#include "commands/Commands.hpp"

#include "commands/OptionValue.hpp"
#include "output/ByteFormat.hpp"
#include "output/JSONOutput.hpp"
#include "output/ModelJSON.hpp"
#include "output/SizeTree.hpp"
#include "store/SavedScan.hpp"
#include "terminal/Interruption.hpp"

#include "KestrelCore/Base/Date.hpp"
#include "KestrelCore/Base/NaturalOrder.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

// Answers from the saved scan alone: no folder is read, so that a listing of a large folder is there at
// once, and says how old it is.

using namespace KestrelCore;

namespace KestrelCLI {

namespace {

enum class ListOrder { size, date, name };

struct ListOptions {
    ListOrder order = ListOrder::size;
    bool all = false;
    bool print0 = false;
    std::optional<std::size_t> limit;
};

/// As many as fit one look, unless more or fewer are asked for.
constexpr std::size_t usualLimit = 50;

/// `children` come largest first, and equal ones stay in their order.
void sort(std::vector<FileRecord>& children, ListOrder order) {
    const auto date = [](const FileRecord& record) { return record.modifiedAt().value_or(Date::distantPast()); };
    if (order == ListOrder::date) std::ranges::stable_sort(children, std::ranges::greater{}, date);
    if (order == ListOrder::name) {
        std::ranges::stable_sort(children, [](const FileRecord& a, const FileRecord& b) {
            return NaturalOrder::compareInList(a.name(), b.name()) < 0;
        });
    }
}

/// Shows one folder; fails for a path that is not in the saved scan, and for what is no folder.
ExitCode list(const Session& session, const ListOptions& options, const Operands& operands) {
    const NamedRecord named = NamedRecord::folder(session, operands);
    const FileRecord& folder = named.record;
    std::vector<FileRecord> children = named.scan.children(folder.path());
    Interruption::check();
    sort(children, options.order);
    const std::size_t found = children.size();
    // A script gets everything unless it sets a limit itself.
    const std::size_t limit = options.all || options.print0 || session.options.json
                                  ? options.limit.value_or(found)
                                  : options.limit.value_or(usualLimit);
    if (session.options.json) {
        children.erase(children.begin() + static_cast<std::ptrdiff_t>(std::min(found, limit)), children.end());
        JSONOutput json{session.out};
        writeSnapshot(json, "snapshot", named.scan.summary());
        json.member("path", folder.path().view());
        json.beginArray("children");
        for (const FileRecord& child : children) writeRecord(json, child);
        json.endArray();
        json.finish();
        return ExitCode::done;
    }
    if (options.print0) {
        // As they are, for xargs -0: no path has a NUL in it.
        std::ostream& out = session.raw();
        for (std::size_t index = 0; index < std::min(found, limit); ++index)
            out << children[index].path().view() << '\0';
        return ExitCode::done;
    }
    writeAge(session, named.scan.summary());
    writeTree(session, folderListing(folder, children, limit), folder.displayBytes());
    if (found == 0) session.out << "  (nothing in it)\n";
    return ExitCode::done;
}

}  // namespace

void addListCommand(CLI::App& app, Session& session) {
    const auto options = std::make_shared<ListOptions>();
    const CommandOptions command = addCommand(
        app,
        {.name = "list",
         .operands = "[PATH]",
         .description = "Shows a folder as it was scanned, largest first (default: the top of the newest scan).",
         .examples = {"kestrel list", "kestrel list ~/Downloads --limit 10", "kestrel list --sort date ~/Downloads",
                      "kestrel list --all --json /srv", "kestrel list --at 7d ~/Downloads"},
         .mostOperands = 1,
         .operandKind = ValueKind::folder,
         .readsSavedScan = true},
        [&session, options](const Operands& operands) { return list(session, *options, operands); });
    const CommandOption all = command.flag("-a,--all", options->all, "Show every item");
    command.value("--limit", options->limit, fmt::format("Show at most N items (default: {})", usualLimit))
        .valueName("N")
        .check(wholeNumber())
        .excludes(all);
    const std::map<std::string, ListOrder> orders{
        {"size", ListOrder::size}, {"date", ListOrder::date}, {"name", ListOrder::name}};
    command.choice("--sort", options->order, orders, "Order by size (default), date (newest first) or name")
        .valueName("ORDER");
    command.flag("-0,--print0", options->print0, "Print only the paths, all of them, each ended by a NUL");
}

}  // namespace KestrelCLI
