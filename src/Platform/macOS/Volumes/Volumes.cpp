#include "Platform/Volumes.hpp"

#include "Platform/macOS/Volumes/SystemVolumes.hpp"

namespace KestrelCore {

namespace {

class MacOSVolumes final : public Volumes {
public:
    std::vector<MountedVolume> mounted() override {
        constexpr std::size_t mostVolumes = 64;
        const auto table = currentVolumeTable();
        return table ? table->volumes(mostVolumes) : std::vector<MountedVolume>{};
    }

    std::vector<DiskCounters> disks() override { return {}; }
};

}  // namespace

std::unique_ptr<Volumes> Volumes::system() { return std::make_unique<MacOSVolumes>(); }

}  // namespace KestrelCore
