#include "Platform/Traversal.hpp"

#include "Platform/POSIX/Walk/FolderWalk.hpp"
#include "Platform/macOS/Volumes/SystemVolumes.hpp"
#include "Platform/macOS/Walk/AttributeCall.hpp"
#include "Platform/macOS/Walk/Portable/BulkFolders.hpp"
#include "Platform/macOS/Walk/Portable/VolumeCrossing.hpp"

#include <cstdlib>
#include <memory>
#include <optional>
#include <string>
#include <utility>

namespace KestrelCore {

namespace {

class SystemFolders final : public BulkFolders {
public:
    void begin() override { guard_.emplace(); }
    void end() noexcept override { guard_.reset(); }

private:
    int list(int folder, std::span<char> buffer) override { return listAttributes(folder, buffer); }

    std::optional<ContentStaysAway> guard_;
};

class MacOSWalk final : public WalkSystem {
public:
    std::unique_ptr<FolderSource> source() const override { return std::make_unique<SystemFolders>(); }

    std::unique_ptr<CrossingPlan> crossingPlan(MountCrossing crossing, const std::string& root,
                                               const FileStatus& status) const override {
        const std::unique_ptr<char, decltype(&std::free)> real{::realpath(root.c_str(), nullptr), &std::free};
        auto table = currentVolumeTable();
        return std::make_unique<VolumeCrossing>(crossing, table ? std::move(*table) : VolumeTable{}, root,
                                                real != nullptr ? real.get() : root, status);
    }
};

}  // namespace

std::unique_ptr<Traversal> openTraversal(const TraversalOptions& options) {
    return openFolderWalk(options, std::make_shared<MacOSWalk>());
}

}  // namespace KestrelCore
