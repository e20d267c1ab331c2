#include "output/GrowthTree.hpp"

#include "output/BranchText.hpp"
#include "output/ByteFormat.hpp"
#include "output/TerminalText.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <cstdint>
#include <limits>
#include <map>
#include <string_view>
#include <utility>

using namespace KestrelCore;

// What is shown:
//
//     +1.43 GB  ████████████████████  /home/anna/
//     +1.20 GB  ████████████████▊     ├─ videos/
//     +1.30 GB  ██████████████████▏   │  ├─ holiday/  new, 212 items
//      -100 MB  █▍                    │  └─ old.mp4  gone
//      +230 MB  ███▏                  └─ projects/app/build.log
//
// In a pipe each line has its whole path where the tree is.
// A folder is a line of its own where several changes lie in it; else its name stands before that of the only one.

namespace KestrelCLI {

namespace {

/// Modulo 2^64: what is stored may be anything.
std::int64_t sum(std::int64_t a, std::int64_t b) {
    return static_cast<std::int64_t>(static_cast<std::uint64_t>(a) + static_cast<std::uint64_t>(b));
}
std::uint64_t magnitude(std::int64_t bytes) {
    return bytes < 0 ? 0 - static_cast<std::uint64_t>(bytes) : static_cast<std::uint64_t>(bytes);
}

bool isContainer(const GrowthChange& change) {
    return change.kind == FileKind::directory || change.kind == FileKind::package;
}
/// Whether the change tells of a folder that was and is there: what has changed in it beside what else is told.
bool isRest(const GrowthChange& change) {
    return isContainer(change) && (change.what == GrowthChangeKind::grew || change.what == GrowthChangeKind::shrank);
}

std::string noteOf(const GrowthChange& change) {
    const std::string content = isContainer(change) ? ByteFormat::items(change.items) : "";
    switch (change.what) {
    case GrowthChangeKind::appeared: return isContainer(change) ? "new, " + content : "new";
    case GrowthChangeKind::gone: return isContainer(change) ? "gone, " + content : "gone";
    case GrowthChangeKind::moved:
        return fmt::format("moved from {}", change.movedFrom ? change.movedFrom->view() : std::string_view{});
    case GrowthChangeKind::grew:
    case GrowthChangeKind::shrank: break;
    }
    return isContainer(change) ? content : "";
}

/// A path's place below the compared folder; the folder itself has an empty one.
std::string_view below(std::string_view path, std::string_view root) {
    if (root != "/" && path.starts_with(root)) path.remove_prefix(root.size());
    if (path.starts_with('/')) path.remove_prefix(1);
    return path;
}

class TreeBuilder {
public:
    explicit TreeBuilder(const Growth& growth) {
        nodes_.emplace_back();
        for (const GrowthChange& change : growth.changes) add(change, below(change.path.view(), growth.path.view()));
        // Folders come before what they hold.
        for (std::size_t i = nodes_.size(); i-- > 1;) {
            nodes_[nodes_[i].parent].bytes = sum(nodes_[nodes_[i].parent].bytes, nodes_[i].bytes);
        }
    }

    std::vector<GrowthLine> build(const Growth& growth) {
        Entry root = entryOf(0);
        std::string note;
        for (const GrowthChange* change : nodes_[0].changes) {
            if (!isRest(*change) || nodes_[0].inside.empty()) note = noteOf(*change);
        }
        const bool isFolder =
            !nodes_[0].inside.empty() || nodes_[0].changes.empty() || isContainer(*nodes_[0].changes.front());
        lines_.push_back({.branch = "",
                          .name = growth.path.string(),
                          .path = growth.path.string(),
                          .note = std::move(note),
                          .change = growth.totalChange(),
                          .isFolder = isFolder});
        root_ = growth.path.view() == "/" ? "/" : growth.path.string() + '/';
        if (nodes_[0].inside.empty()) return std::move(lines_);
        // Entries that wait, the next one last: a tree may be deep.
        std::vector<Waiting> waiting;
        open(root.node, "", waiting);
        while (!waiting.empty()) {
            const Waiting next = std::move(waiting.back());
            waiting.pop_back();
            addLine(next, waiting);
        }
        return std::move(lines_);
    }

private:
    struct Node {
        std::size_t parent = 0;
        std::string_view name;
        std::map<std::string, std::size_t, std::less<>> inside;
        std::vector<const GrowthChange*> changes;  ///< of this very path
        std::int64_t bytes = 0;                    ///< of all changes here and below
    };
    /// A line to come: of a node, or of one change of a node.
    struct Entry {
        std::size_t node = 0;
        const GrowthChange* change = nullptr;  ///< what the note says; null for a folder that only holds changes
        bool isRest = false;
        bool isAlone = false;  ///< one of several changes at one path: nothing is below it
        std::int64_t bytes = 0;
    };
    struct Waiting {
        Entry entry;
        std::size_t above;  ///< the node whose line is the one above
        std::string indent;
        bool isLast;
    };

    void add(const GrowthChange& change, std::string_view path) {
        std::size_t node = 0;
        while (!path.empty()) {
            const std::size_t slash = std::min(path.find('/'), path.size());
            const std::string_view name = path.substr(0, slash);
            path.remove_prefix(std::min(slash + 1, path.size()));
            const auto known = nodes_[node].inside.find(name);
            if (known != nodes_[node].inside.end()) {
                node = known->second;
                continue;
            }
            const std::size_t fresh = nodes_.size();
            // The map's own text stays where it is.
            const std::string_view kept = nodes_[node].inside.emplace(name, fresh).first->first;
            nodes_.push_back({.parent = node, .name = kept, .inside = {}, .changes = {}, .bytes = 0});
            node = fresh;
        }
        nodes_[node].changes.push_back(&change);
        nodes_[node].bytes = sum(nodes_[node].bytes, change.change());
    }

    /// The line of a node; where it only holds one other, that one's.
    [[nodiscard]] Entry entryOf(std::size_t node) const {
        while (node != 0 && nodes_[node].changes.empty() && nodes_[node].inside.size() == 1) {
            node = nodes_[node].inside.begin()->second;
        }
        Entry entry{.node = node, .bytes = nodes_[node].bytes};
        for (const GrowthChange* change : nodes_[node].changes) {
            // What else has changed in a folder is a line below it.
            if (!KestrelCLI::isRest(*change) || nodes_[node].inside.empty()) entry.change = change;
        }
        return entry;
    }

    /// Puts the lines below a node into `waiting`.
    void open(std::size_t node, const std::string& indent, std::vector<Waiting>& waiting) const {
        std::vector<Entry> entries;
        for (const auto& [name, child] : nodes_[node].inside) {
            const Entry entry = entryOf(child);
            if (nodes_[entry.node].changes.size() > 1 && nodes_[entry.node].inside.empty()) {
                for (const GrowthChange* change : nodes_[entry.node].changes) {
                    entries.push_back(
                        {.node = entry.node, .change = change, .isAlone = true, .bytes = change->change()});
                }
            } else {
                entries.push_back(entry);
            }
        }
        std::ranges::stable_sort(entries, std::ranges::greater{},
                                 [](const Entry& entry) { return magnitude(entry.bytes); });
        for (const GrowthChange* change : nodes_[node].changes) {
            if (KestrelCLI::isRest(*change)) {
                entries.push_back({.node = node, .change = change, .isRest = true, .bytes = change->change()});
            }
        }
        for (std::size_t i = entries.size(); i-- > 0;) {
            waiting.push_back({entries[i], node, indent, i + 1 == entries.size()});
        }
    }

    void addLine(const Waiting& next, std::vector<Waiting>& waiting) {
        const Entry& entry = next.entry;
        const std::string branch = next.indent + (next.isLast ? "└─ " : "├─ ");
        if (entry.isRest) {
            lines_.push_back({.branch = branch,
                              .name = "",
                              .path = pathOf(entry.node),
                              .note = entry.change->items == 1
                                          ? "1 more item"
                                          : fmt::format("{} more items", ByteFormat::count(entry.change->items)),
                              .change = entry.bytes,
                              .isRest = true});
            return;
        }
        const bool hasInside = !entry.isAlone && !nodes_[entry.node].inside.empty();
        lines_.push_back({.branch = branch,
                          .name = nameOf(entry.node, next.above),
                          .path = pathOf(entry.node),
                          .note = entry.change != nullptr ? noteOf(*entry.change) : "",
                          .change = entry.bytes,
                          .isFolder = hasInside || (entry.change != nullptr && isContainer(*entry.change))});
        if (hasInside) open(entry.node, next.indent + (next.isLast ? "   " : "│  "), waiting);
    }

    [[nodiscard]] std::string pathOf(std::size_t node) const { return root_ + nameOf(node, 0); }

    /// The components from below `above` down to `node`.
    [[nodiscard]] std::string nameOf(std::size_t node, std::size_t above) const {
        std::vector<std::string_view> names;
        for (; node != above; node = nodes_[node].parent) names.push_back(nodes_[node].name);
        std::string result;
        for (auto i = names.size(); i-- > 0;) {
            result += names[i];
            if (i > 0) result += '/';
        }
        return result;
    }

    std::string root_;  ///< with a slash at its end
    std::vector<Node> nodes_;
    std::vector<GrowthLine> lines_;
};

/// Whether the program itself wrote it: whoever looks for what has grown need not look there.
bool isOwnHistory(std::string_view path) {
    constexpr std::string_view name = "/kestrel/history.sqlite";
    const std::size_t at = path.rfind(name);
    if (at == std::string_view::npos) return false;
    const std::string_view ending = path.substr(at + name.size());
    return ending.empty() || ending == "-wal" || ending == "-shm";
}

/// The columns that all lines share.
class ChangeColumns {
public:
    ChangeColumns(const Session& session, std::uint64_t largest)
        : session_{session}, largest_{largest},
          barColumns_{session.columns() == 0 ? usualBar : std::clamp<std::size_t>(session.columns() / 6, 4, 20)} {}

    void measure(std::int64_t bytes) {
        sizeColumns_ = std::max(sizeColumns_, TerminalText::width(signedSize(session_, bytes)));
    }

    void write(const GrowthLine& line) const {
        const double fraction =
            largest_ > 0 ? static_cast<double>(magnitude(line.change)) / static_cast<double>(largest_) : 0;
        std::string text = TerminalText::padded(signedSize(session_, line.change), sizeColumns_, true);
        text += "  ";
        text += session_.painted(line.change < 0 ? Style::good : Style::bar, bar(fraction, barColumns_));
        text += "  ";
        const bool isWhole = !session_.terminal.isOutput;
        std::string name = session_.shownPath(isWhole ? line.path : line.name);
        if ((line.isFolder || (isWhole && line.isRest)) && !name.ends_with('/')) name += '/';
        std::string note = session_.shown(line.note);
        if (isOwnHistory(line.path)) note += note.empty() ? "Kestrel’s own" : ", Kestrel’s own";
        if ((isWhole || !line.isRest) && !note.empty()) note = "  " + note;
        const Style style = line.branch.empty() && !line.isRest ? Style::heading
                            : line.isFolder                     ? Style::folder
                                                                : Style::file;
        text += branchText(session_, sizeColumns_ + 2 + barColumns_ + 2, isWhole ? "" : line.branch, name, style, note);
        session_.out << text << '\n';
    }

private:
    static constexpr std::size_t usualBar = 20;

    const Session& session_;
    std::uint64_t largest_;
    std::size_t barColumns_;
    std::size_t sizeColumns_ = 8;
};

}  // namespace

std::string signedSize(const Session& session, std::int64_t bytes) {
    if (bytes == 0) return session.size(0);
    if (bytes == std::numeric_limits<std::int64_t>::min()) ++bytes;
    return (bytes < 0 ? "-" : "+") + session.size(bytes < 0 ? -bytes : bytes);
}

std::vector<GrowthLine> growthTree(const Growth& growth) { return TreeBuilder{growth}.build(growth); }

void writeGrowth(const Session& session, const Growth& growth) {
    const std::vector<GrowthLine> lines = growthTree(growth);
    std::uint64_t largest = 0;
    for (const GrowthLine& line : lines) largest = std::max(largest, magnitude(line.change));
    ChangeColumns columns{session, largest};
    for (const GrowthLine& line : lines) columns.measure(line.change);
    for (const GrowthLine& line : lines) columns.write(line);
}

void writeLargestChanges(const Session& session, const Growth& growth, std::size_t count, std::string_view title) {
    std::vector<GrowthLine> lines;
    for (const GrowthChange& change : growth.changes) {
        if (lines.size() == count || change.change() == 0) break;
        const std::string_view path = below(change.path.view(), growth.path.view());
        if (path.empty()) continue;
        lines.push_back({.branch = "",
                         .name = std::string{path},
                         .path = change.path.string(),
                         .note = noteOf(change),
                         .change = change.change(),
                         .isFolder = isContainer(change)});
    }
    if (lines.empty()) return;
    session.out << '\n' << session.painted(Style::heading, title) << '\n';
    std::uint64_t largest = 0;
    for (const GrowthLine& line : lines) largest = std::max(largest, magnitude(line.change));
    ChangeColumns columns{session, largest};
    for (const GrowthLine& line : lines) columns.measure(line.change);
    for (const GrowthLine& line : lines) columns.write(line);
}

}  // namespace KestrelCLI
