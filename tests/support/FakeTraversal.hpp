#pragma once

#include "Platform/Traversal.hpp"

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace KestrelCore {

/// A tree that exists only in a test, written in the order in which it is walked:
///
///     FakeTree tree{"/"};
///     tree.directory("usr").file("a.txt", {.size = 5, .allocatedBytes = 4096}).end().link("bin");
///     DiskScanner scanner{…, tree.factory()};
///
/// An item whose inode is 0 gets one of its own, and every item the root's device unless it names another.
class FakeTree {
public:
    /// The root is a folder at `root`.
    explicit FakeTree(std::string root, FileStatus status = {});
    /// There is only the root, and it is no folder.
    [[nodiscard]] static FakeTree single(std::string root, FileType type, FileStatus status = {});
    /// There is nothing at `root`, or it can't be looked at.
    [[nodiscard]] static FakeTree missing(std::string root, int errorNumber);

    FakeTree& directory(std::string name, FileStatus status = {});  ///< what follows is in it, until its end
    FakeTree& end();                                                ///< ends the folder
    FakeTree& unreadable(int errorNumber);                          ///< ends the folder: it can't be read (on)
    FakeTree& mountPoint(std::string name, FileStatus status = {});
    FakeTree& file(std::string name, FileStatus status = {});
    FakeTree& link(std::string name, FileStatus status = {});
    FakeTree& item(std::string name, FileType type, FileStatus status = {});
    FakeTree& noStatus(std::string name, int errorNumber);
    FakeTree& error(std::string name, int errorNumber);
    FakeTree& stop(int errorNumber);               ///< the walk ends here, without the ends of open folders
    FakeTree& then(std::function<void()> action);  ///< runs when the walk asks for what comes next here

    /// Gives walks over the tree as it is now. Each one has the state of its own, and heeds the cancellation.
    [[nodiscard]] TraversalFactory factory() const;
    [[nodiscard]] std::unique_ptr<Traversal> open(const TraversalOptions& options) const { return factory()(options); }

    struct Step {
        TraversalEntry::Kind kind = TraversalEntry::Kind::item;
        std::uint32_t level = 0;
        std::string name;
        std::optional<FileStatus> status;
        int errorNumber = 0;
        bool isStop = false;
        std::function<void()> action;
    };

private:
    FakeTree() = default;
    FileStatus completed(FileStatus status, FileType type);
    FakeTree& add(TraversalEntry::Kind kind, std::string name, std::optional<FileStatus> status, int errorNumber);

    std::vector<Step> steps_;
    std::vector<std::string> open_;  ///< names of the folders that have not ended
    std::uint64_t device_ = 1;
    std::uint64_t lastInode_ = 1'000'000;
};

}  // namespace KestrelCore
