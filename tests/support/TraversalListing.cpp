#include "support/TraversalListing.hpp"

#include <algorithm>
#include <fmt/format.h>

namespace KestrelCore {

namespace {

const char* word(TraversalEntry::Kind kind) {
    using Kind = TraversalEntry::Kind;
    switch (kind) {
    case Kind::directory: return "directory";
    case Kind::directoryEnd: return "end";
    case Kind::item: return "item";
    case Kind::unreadableDirectory: return "unreadable";
    case Kind::noStatus: return "nostatus";
    case Kind::error: return "error";
    case Kind::leftOut: return "leftout";
    }
    return "?";
}

std::vector<std::string> lines(Traversal& traversal, const std::vector<std::string>& skipped, bool hasStatus) {
    std::vector<std::string> found;
    while (const TraversalEntry* entry = traversal.next()) {
        std::string& line = found.emplace_back(fmt::format("{} {} {}", entry->level, word(entry->kind), entry->name));
        if (entry->errorNumber != 0) line += fmt::format(" {}", entry->errorNumber);
        if (const FileStatus* status = entry->status; status != nullptr && hasStatus) {
            line += fmt::format(" device {} inode {} links {} size {} allocated {} modified {}.{} type {}{}{}",
                                status->device, status->inode, status->links, status->size, status->allocatedBytes,
                                status->modifiedSeconds, status->modifiedNanoseconds, static_cast<int>(status->type),
                                status->isUserHidden ? " hidden" : "", status->isDataless ? " dataless" : "");
        }
        if (entry->kind == TraversalEntry::Kind::directory &&
            std::find(skipped.begin(), skipped.end(), entry->name) != skipped.end()) {
            traversal.skipDescendants();
        }
    }
    if (traversal.errorNumber() != 0) found.push_back(fmt::format("stopped {}", traversal.errorNumber()));
    return found;
}

}  // namespace

std::vector<std::string> listing(Traversal& traversal, const std::vector<std::string>& skipped) {
    return lines(traversal, skipped, true);
}

std::vector<std::string> listing(std::unique_ptr<Traversal> traversal, const std::vector<std::string>& skipped) {
    return lines(*traversal, skipped, true);
}

std::vector<std::string> briefListing(std::unique_ptr<Traversal> traversal, const std::vector<std::string>& skipped) {
    return lines(*traversal, skipped, false);
}

std::string firstDifference(const std::vector<std::string>& found, const std::vector<std::string>& expected) {
    const auto [left, right] = std::mismatch(found.begin(), found.end(), expected.begin(), expected.end());
    if (left == found.end() && right == expected.end()) return {};
    const auto line = [](const auto& lines, auto at) { return at == lines.end() ? "its end" : *at; };
    return fmt::format("line {}: found {}, expected {}", left - found.begin(), line(found, left),
                       line(expected, right));
}

}  // namespace KestrelCore
