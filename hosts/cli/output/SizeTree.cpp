#include "output/SizeTree.hpp"

#include "output/BranchText.hpp"
#include "output/ByteFormat.hpp"
#include "output/TerminalText.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <string_view>
#include <utility>
#include <vector>

using namespace KestrelCore;

// What is shown:
//
//     12.4 GB  100.0 % ████████████████████  /home/anna/
//     8.11 GB   65.4 % █████████████         ├─ music/
//     1.20 GB    9.7 % ██                    │  ├─ live/
//     6.91 GB   55.7 % ███████████           │  └─ 31 more items
//     4.29 GB   34.6 % ███████               └─ 12 more items
//
// The lines below one item add up to it, but for its own few blocks, since a remainder stands for all that is not
// shown. A further hard link to a file that was counted elsewhere has a size of its own to show, but adds nothing and
// has no share. The name takes what the other columns leave, so that the bars stand one below the other.

namespace KestrelCLI {

namespace {

/// What `record` adds to the folder that holds it.
std::int64_t contributedBytes(const FileRecord& record) {
    return record.isHardLinkDuplicate() ? 0 : record.displayBytes();
}

/// Makes the lines of a tree, from the top down. No deeper than asked for, so that recursion is bounded by the option.
class TreeBuilder {
public:
    TreeBuilder(const ScanSnapshot& snapshot, const TreeLimits& limits) : snapshot_{snapshot}, limits_{limits} {}

    std::vector<TreeLine> build() {
        const std::optional<FileRecord> root = snapshot_.record(snapshot_.scope().root.path());
        if (!root) return {};
        total_ = root->displayBytes();
        lines_.push_back({.branch = "", .record = root, .bytes = root->displayBytes()});
        addChildren(*root, "", 1);
        return std::move(lines_);
    }

private:
    void addChildren(const FileRecord& folder, const std::string& indent, std::size_t level) {
        if (level > limits_.depth) return;
        const std::vector<FileRecord> children = snapshot_.children(folder.path());
        std::size_t shown = std::min(children.size(), limits_.top);
        // The children come largest first, so those worth a line are the first ones.
        // Below the first level only what is worth a look: one percent of the whole, rounded up, and more than nothing.
        if (level > 1) {
            const auto end = children.begin() + static_cast<std::ptrdiff_t>(shown);
            shown = static_cast<std::size_t>(
                std::distance(children.begin(), std::find_if(children.begin(), end, [&](const FileRecord& child) {
                                  return contributedBytes(child) < (total_ + 99) / 100 || contributedBytes(child) == 0;
                              })));
            if (shown == 0) return;
        }
        const std::size_t more = children.size() - shown;
        // What is left out still counts, so that the lines below a folder add up to it.
        std::int64_t rest = 0;
        for (std::size_t index = shown; index < children.size(); ++index) rest += contributedBytes(children[index]);
        for (std::size_t index = 0; index < shown; ++index) {
            const FileRecord& child = children[index];
            const bool isLast = index + 1 == shown && more == 0;
            lines_.push_back(
                {.branch = indent + (isLast ? "└─ " : "├─ "), .record = child, .bytes = child.displayBytes()});
            if (child.isContainer()) addChildren(child, indent + (isLast ? "   " : "│  "), level + 1);
        }
        if (more > 0) {
            lines_.push_back({.branch = indent + "└─ ", .record = std::nullopt, .bytes = rest, .moreItems = more});
        }
    }

    const ScanSnapshot& snapshot_;
    const TreeLimits& limits_;
    std::int64_t total_ = 0;
    std::vector<TreeLine> lines_;
};

Style styleOf(const FileRecord& record) { return record.isContainer() ? Style::folder : Style::file; }

/// A name as it is shown: a folder ends in a slash, so that it can be told from a file without colour.
std::string shownName(const Session& session, const FileRecord& record, std::string_view name) {
    std::string text = session.shownPath(name);
    if (record.isContainer() && !text.ends_with('/')) text += '/';
    return text;
}

/// Writes the columns that all lines share and knows how wide they are.
class SizeColumns {
public:
    SizeColumns(const Session& session, std::int64_t totalBytes)
        : session_{session}, total_{totalBytes},
          barColumns_{session.columns() == 0 ? usualBar : std::clamp<std::size_t>(session.columns() / 5, 4, 24)} {}

    /// To be called for every size before the first line is written.
    void measure(std::int64_t bytes) {
        sizeColumns_ = std::max(sizeColumns_, TerminalText::width(session_.size(bytes)));
    }

    /// `branch` and `name` (already escaped) fill what the other columns leave of the terminal. A size that is counted
    /// elsewhere has no share.
    void write(std::int64_t bytes, bool isCounted, std::string_view branch, std::string_view name, Style style,
               std::string_view note = {}) const {
        const double fraction = total_ > 0 ? static_cast<double>(bytes) / static_cast<double>(total_) : 0;
        std::string line = TerminalText::padded(session_.size(bytes), sizeColumns_, true);
        line += TerminalText::padded(isCounted ? ByteFormat::share(bytes, total_) : "", shareColumns, true);
        line += ' ';
        line += session_.painted(Style::bar, bar(isCounted ? fraction : 0, barColumns_));
        line += "  ";
        line += branchText(session_, sizeColumns_ + shareColumns + 1 + barColumns_ + 2, branch, name, style, note);
        session_.out << line << '\n';
    }

private:
    static constexpr std::size_t usualBar = 20;
    static constexpr std::size_t shareColumns = 9;

    const Session& session_;
    std::int64_t total_;
    std::size_t barColumns_;
    std::size_t sizeColumns_ = 8;
};

}  // namespace

std::vector<TreeLine> sizeTree(const ScanSnapshot& snapshot, const TreeLimits& limits) {
    return TreeBuilder{snapshot, limits}.build();
}

std::vector<TreeLine> folderListing(const FileRecord& folder, const std::vector<FileRecord>& children,
                                    std::size_t limit) {
    std::vector<TreeLine> lines{{.branch = "", .record = folder, .bytes = folder.displayBytes()}};
    const std::size_t shown = std::min(children.size(), limit);
    const std::size_t more = children.size() - shown;
    for (std::size_t index = 0; index < shown; ++index) {
        const bool isLast = index + 1 == shown && more == 0;
        lines.push_back(
            {.branch = isLast ? "└─ " : "├─ ", .record = children[index], .bytes = children[index].displayBytes()});
    }
    std::int64_t rest = 0;
    for (std::size_t index = shown; index < children.size(); ++index) rest += contributedBytes(children[index]);
    if (more > 0) {
        lines.push_back({.branch = "└─ ", .record = std::nullopt, .bytes = rest, .moreItems = more});
    }
    return lines;
}

std::vector<FileRecord> largestFiles(const ScanSnapshot& snapshot, std::size_t count) {
    // One pass over sizes alone: a path can be as long as its folders are deep, so only those in the result are made.
    struct Candidate {
        std::int64_t bytes;
        std::size_t index;
    };
    const auto comesFirst = [](const Candidate& a, const Candidate& b) {
        return a.bytes > b.bytes || (a.bytes == b.bytes && a.index < b.index);
    };
    // The largest so far, as a heap with the one on top that goes first when a larger one comes.
    std::vector<Candidate> largest;
    const RecordList& records = snapshot.records();
    for (std::size_t index = 0; index < records.size(); ++index) {
        const RecordSize size = records.sizeOf(index);
        if (size.isContainer || size.isHardLinkDuplicate || size.displayBytes <= 0) continue;
        const Candidate candidate{.bytes = size.displayBytes, .index = index};
        if (largest.size() == count) {
            if (count == 0 || !comesFirst(candidate, largest.front())) continue;
            std::ranges::pop_heap(largest, comesFirst);
            largest.pop_back();
        }
        largest.push_back(candidate);
        std::ranges::push_heap(largest, comesFirst);
    }
    std::ranges::sort_heap(largest, comesFirst);
    std::vector<FileRecord> files;
    files.reserve(largest.size());
    for (const Candidate& candidate : largest) files.push_back(records[candidate.index]);
    return files;
}

void writeTree(const Session& session, const std::vector<TreeLine>& lines, std::int64_t totalBytes) {
    SizeColumns columns{session, totalBytes};
    for (const TreeLine& line : lines) columns.measure(line.bytes);
    for (const TreeLine& line : lines) {
        if (!line.record) {
            columns.write(line.bytes, true, line.branch,
                          fmt::format("{} more {}", ByteFormat::count(static_cast<std::int64_t>(line.moreItems)),
                                      line.moreItems == 1 ? "item" : "items"),
                          Style::quiet);
            continue;
        }
        const FileRecord& record = *line.record;
        const bool isRoot = line.branch.empty();
        columns.write(line.bytes, !record.isHardLinkDuplicate(), line.branch,
                      shownName(session, record, isRoot ? record.path().view() : record.name().view()),
                      isRoot ? Style::heading : styleOf(record),
                      record.isHardLinkDuplicate() ? "  (a further link, counted once)" : "");
    }
}

void writeFiles(const Session& session, const std::vector<FileRecord>& files, const Text& root,
                std::int64_t totalBytes) {
    SizeColumns columns{session, totalBytes};
    for (const FileRecord& file : files) columns.measure(file.displayBytes());
    for (const FileRecord& file : files) {
        std::string_view path = file.path().view();
        // In a pipe a path is one that other programs understand.
        if (session.terminal.isOutput && Path::isBeneath(file.path(), root)) {
            path.remove_prefix(root.view() == "/" ? 1 : root.byteCount() + 1);
        }
        columns.write(file.displayBytes(), true, "", session.shown(path), styleOf(file));
    }
}

}  // namespace KestrelCLI
