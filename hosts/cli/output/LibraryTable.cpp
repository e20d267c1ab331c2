#include "output/LibraryTable.hpp"

#include "output/ByteFormat.hpp"
#include "output/Table.hpp"
#include "output/Times.hpp"

#include <fmt/format.h>

#include <algorithm>

using namespace KestrelCore;

namespace KestrelCLI {

void writeLibrary(const Session& session, const ScanSnapshot& snapshot, const std::vector<LibraryLine>& lines,
                  std::size_t limit) {
    const Text root = snapshot.scope().root.path();
    const std::size_t rootLength = root.view() == "/" ? 1 : root.byteCount() + 1;
    const std::size_t shown = std::min(lines.size(), limit);
    Table table{
        {{.title = ""}, {.title = "", .align = Table::Align::right}, {.title = ""}, {.title = "", .shrinks = true}}};
    for (std::size_t i = 0; i < shown; ++i) {
        const FileRecord& record = lines[i].record;
        std::string_view path = record.path().view();
        // By bytes, and only where they are the same: the root may be spelled in another normal form.
        if (path.size() > rootLength && path.starts_with(root.view()) && path[rootLength - 1] == '/') {
            path.remove_prefix(rootLength);
        }
        table.addRow(
            {{.text = record.modifiedAt() ? localTime(*record.modifiedAt()) : "no date", .style = Style::quiet},
             {.text = session.size(record.displayBytes())},
             {.text = lines[i].kind, .style = Style::quiet},
             {.text = session.shown(path), .style = Style::file}});
    }
    table.write(session.out, session.columns(), session.hasColor());
    if (shown < lines.size()) {
        session.out << fmt::format("… and {} more (see --limit)\n",
                                   ByteFormat::count(static_cast<std::int64_t>(lines.size() - shown)));
    }
}

}  // namespace KestrelCLI
