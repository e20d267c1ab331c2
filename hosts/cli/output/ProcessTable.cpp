#include "output/ProcessTable.hpp"

#include "output/Table.hpp"
#include "output/TerminalText.hpp"
#include "output/Times.hpp"
#include "output/UTF8.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string_view>
#include <utility>

// Which columns there is room for follows from what is in them: an identifier may have three digits or seven, a size
// eight characters or, to the byte, twice as many. So all cells are made first. Then those columns fold away that say
// least, until the name and the command line have a little room, and these two are cut to what there is.

namespace KestrelCLI {

namespace {

using KestrelCore::Text;

constexpr std::size_t gap = 2;
constexpr std::size_t longestUser = 12;
/// Of a name beside a command line, in which all of it is seen.
constexpr std::size_t longestName = 20;
constexpr std::size_t leastName = 12;
/// Of a name with the lines of the tree before it, which say more than the command line.
constexpr std::size_t leastNameInTree = 32;
constexpr std::size_t leastCommandLine = 20;

/// What folds away first has the highest; 0 stays.
enum Rank { always = 0, user = 1, commandLine = 2, threads = 3, traffic = 4, start = 5 };

struct Filled {
    Table::Column column;
    Rank rank;
    bool isCut = false;  ///< shown in part where the terminal is narrow
    std::size_t least = 0;
    std::vector<std::string> texts{};
    std::size_t width = 0;
};

std::string shown(const std::optional<Text>& text) {
    // Escaped in a pipe too: a name with a newline would break the table.
    return text ? TerminalText::escaped(text->view()) : std::string{};
}

using Cell = std::function<std::string(const ListedProcess&)>;

/// All that there is to show.
std::vector<Filled> allColumns(const Session& session, const std::vector<ListedProcess>& processes, bool isTree) {
    std::vector<Filled> columns;
    const auto add = [&](const char* title, Rank rank, Table::Align align, const Cell& cell) -> Filled& {
        Filled& filled = columns.emplace_back(Filled{.column = {.title = title, .align = align}, .rank = rank});
        filled.width = TerminalText::width(title);
        for (const ListedProcess& each : processes) {
            filled.texts.push_back(cell(each));
            filled.width = std::max(filled.width, TerminalText::width(filled.texts.back()));
        }
        return filled;
    };
    const auto size = [&session](const std::optional<std::int64_t>& bytes) {
        return bytes ? session.size(*bytes) : std::string{};
    };
    using enum Table::Align;
    add("PID", always, right, [](const ListedProcess& each) { return fmt::to_string(each.row->sample.id); });
    add("user", user, left, [&session](const ListedProcess& each) {
        const std::string name = shown(each.row->description.user);
        return session.columns() == 0 ? name : session.shortened(name, longestUser);
    });
    add("CPU %", always, right,
        [](const ListedProcess& each) { return fmt::format("{:.1f}", each.row->sample.cpuPercent); });
    add("memory", always, right, [&](const ListedProcess& each) { return size(each.row->sample.residentBytes); });
    add("threads", threads, right,
        [](const ListedProcess& each) { return fmt::to_string(each.row->sample.threadCount); });
    add("read", traffic, right, [&](const ListedProcess& each) { return size(each.row->description.readBytes); });
    add("written", traffic, right, [&](const ListedProcess& each) { return size(each.row->description.writtenBytes); });
    add("started", start, left, [](const ListedProcess& each) {
        const auto& startedAt = each.row->description.startedAt;
        return startedAt ? localTime(*startedAt) : std::string{};
    });
    Filled& name = add("name", always, left, [](const ListedProcess& each) {
        return each.prefix + shown(each.row->sample.name) + (each.row->description.isFrozen ? " (frozen)" : "");
    });
    name.isCut = true;
    name.least = std::min(name.width, isTree ? leastNameInTree : leastName);
    Filled& line = add("command line", commandLine, left,
                       [](const ListedProcess& each) { return shown(each.row->description.commandLine); });
    line.isCut = true;
    line.least = std::min(line.width, leastCommandLine);
    return columns;
}

/// Of the columns beside those that are cut, with the gaps between all of them.
std::size_t fixedWidth(const std::vector<Filled>& columns) {
    std::size_t width = columns.empty() ? 0 : (columns.size() - 1) * gap;
    for (const Filled& each : columns) width += each.isCut ? 0 : each.width;
    return width;
}

std::size_t leastWidth(const std::vector<Filled>& columns) {
    std::size_t width = fixedWidth(columns);
    for (const Filled& each : columns) width += each.isCut ? each.least : 0;
    return width;
}

/// The beginning of a text, which of a command line says most.
std::string beginning(const Session& session, const std::string& text, std::size_t columns) {
    if (TerminalText::width(text) <= columns) return text;
    const std::string_view dots = session.characters() == Characters::ascii ? "..." : "…";
    const std::size_t room = columns - std::min(columns, TerminalText::width(dots));
    std::size_t length = 0;
    for (std::size_t used = 0; length < text.size();) {
        const std::size_t next = firstUTF8(std::string_view{text}.substr(length)).length;
        used += TerminalText::width(std::string_view{text}.substr(length, next));
        if (used > room) break;
        length += next;
    }
    return text.substr(0, length).append(dots);
}

/// Cuts names behind the lines of the tree, as long as some of each is left.
void cutNames(const Session& session, Filled& column, const std::vector<ListedProcess>& processes, std::size_t width) {
    column.width = std::min(column.width, width);
    for (std::size_t i = 0; i < processes.size(); ++i) {
        std::string& text = column.texts[i];
        const std::string& prefix = processes[i].prefix;
        const std::size_t used = TerminalText::width(prefix);
        text = used + leastName <= column.width
                   ? prefix + session.shortened(std::string_view{text}.substr(prefix.size()), column.width - used)
                   : session.shortened(text, column.width);
    }
}

/// Leaves out what there is no room for, and cuts the rest.
void fit(const Session& session, std::vector<Filled>& columns, const std::vector<ListedProcess>& processes,
         bool isTree) {
    for (int rank = start; rank > always && leastWidth(columns) > session.columns(); --rank)
        std::erase_if(columns, [rank](const Filled& each) { return each.rank == rank; });
    const std::size_t room = session.columns() - std::min(session.columns(), fixedWidth(columns));
    const auto line = std::ranges::find(columns, commandLine, &Filled::rank);
    const auto name = std::ranges::find(columns, "name", [](const Filled& each) { return each.column.title; });
    if (line == columns.end()) return cutNames(session, *name, processes, room);
    const std::size_t most = isTree ? std::max(leastNameInTree, room / 2) : longestName;
    cutNames(session, *name, processes, std::min(most, room - std::min(room, line->least)));
    for (std::string& text : line->texts) text = beginning(session, text, room - std::min(room, name->width));
}

}  // namespace

void writeProcessTable(const Session& session, const std::vector<ListedProcess>& processes) {
    const bool isTree = std::ranges::any_of(processes, [](const auto& each) { return !each.prefix.empty(); });
    std::vector<Filled> columns = allColumns(session, processes, isTree);
    if (session.columns() > 0) fit(session, columns, processes, isTree);
    std::vector<Table::Column> titles;
    for (const Filled& each : columns) titles.push_back(each.column);
    Table table{std::move(titles)};
    for (std::size_t row = 0; row < processes.size(); ++row) {
        std::vector<Table::Cell> cells;
        for (Filled& each : columns) {
            const Style style = each.rank == commandLine ? Style::quiet : Style::plain;
            cells.push_back({std::move(each.texts[row]), style});
        }
        table.addRow(std::move(cells));
    }
    table.write(session);
}

}  // namespace KestrelCLI
