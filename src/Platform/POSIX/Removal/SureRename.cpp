#include "Platform/POSIX/Removal/SureRename.hpp"

#include <cerrno>

namespace KestrelCore {

namespace {

struct Place {
    bool isEmpty = false;  ///< nothing is there; false also when it can't be looked at
    bool isKnown = false;
    ExpectedItem item;
    bool hasOneName = false;
};

/// What stands there by the word of a network file system's server, not of what the kernel remembers of it.
Place look(int folder, const std::string& name) {
    const auto status = askedStatusIn(folder, name);
    if (!status) return {.isEmpty = errno == ENOENT, .item = {}};
    return {
        .isKnown = true, .item = asExpected(*status), .hasOneName = S_ISDIR(status->st_mode) || status->st_nlink == 1};
}

}  // namespace

int renameSurely(int fromFolder, const std::string& from, int toFolder, const std::string& to,
                 const ExpectedItem& expected) {
    const int error = renameWithoutReplacing(fromFolder, from, toFolder, to);
    if (error == 0) return 0;
    const Place target = look(toFolder, to);
    if (!target.isKnown || target.item != expected) return error;
    const Place source = look(fromFolder, from);
    // Under both names at once it is a file with two names, unless it can have one only: then the old one is a memory.
    const bool isElsewhere = source.isEmpty || (source.isKnown && source.item != expected);
    return isElsewhere || (source.isKnown && target.hasOneName) ? 0 : error;
}

bool isThere(int folder, const std::string& name) { return look(folder, name).isKnown; }

bool isGone(int folder, const std::string& name) { return look(folder, name).isEmpty; }

HeldItem::HeldItem(const ItemLocation& item, const struct stat& status) : expected_{asExpected(status)} {
    if (S_ISDIR(status.st_mode) || status.st_nlink < 2) return;
    FileDescriptor file = openStandIn(item.folder.get(), item.name);
    struct stat found {};
    if (file.isOpen() && ::fstat(file.get(), &found) == 0 && asExpected(found) == expected_) held_ = std::move(file);
}

bool HeldItem::is(const std::optional<struct stat>& found) const {
    if (!found) return false;
    if (asExpected(*found) == expected_) return true;
    struct stat now {};
    return held_.isOpen() && ::fstat(held_.get(), &now) == 0 && asExpected(now) == asExpected(*found);
}

}  // namespace KestrelCore
