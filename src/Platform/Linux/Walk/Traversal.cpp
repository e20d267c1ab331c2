#include "Platform/Traversal.hpp"

#include "Platform/Linux/Walk/MountPlan.hpp"
#include "Platform/POSIX/Walk/FolderWalk.hpp"
#include "Platform/POSIX/Walk/StatusAt.hpp"

#include <utility>

namespace KestrelCore {

namespace {

/// Names first, then a look at each.
class ListedFolders final : public FolderSource {
public:
    bool readPiece(int folder) override { return listing_.readPiece(folder); }
    const ListedEntry* next() override { return listing_.next(); }
    int errorNumber() const override { return listing_.errorNumber(); }
    int look(int folder, const ListedEntry& entry, FileStatus& status, EntryJoint& joint) override {
        return statusAt(folder, entry.name.data(), status, joint.mount);
    }

private:
    DirectoryEntries listing_;
};

class LinuxWalk final : public WalkSystem {
public:
    std::unique_ptr<FolderSource> source() const override { return std::make_unique<ListedFolders>(); }

    std::unique_ptr<CrossingPlan> crossingPlan(MountCrossing crossing, const std::string& root,
                                               const FileStatus& status) const override {
        auto table = MountTable::current();
        return std::make_unique<MountPlan>(crossing, table ? std::move(*table) : MountTable{}, root, status);
    }
};

}  // namespace

std::unique_ptr<Traversal> openTraversal(const TraversalOptions& options) {
    return openFolderWalk(options, std::make_shared<LinuxWalk>());
}

}  // namespace KestrelCore
