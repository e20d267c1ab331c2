#include "Platform/Volumes.hpp"

#include "Platform/macOS/Frameworks/IORegistry.hpp"
#include "Platform/macOS/Volumes/Portable/DiskValues.hpp"
#include "Platform/macOS/Volumes/SystemVolumes.hpp"

#include <utility>

namespace KestrelCore {

namespace {

using IOKit::Entry;

/// The name of the disk that hangs on a driver, such as "disk0".
std::optional<std::string> nameBelow(const Entry& driver) {
    return CoreFoundation::string(driver.property(DiskKeys::name, Entry::Place::below).get());
}

/// The disk that counts for a volume. What lies between the two, the container that the volumes share among it, has no
/// driver of that kind.
std::string countingDisk(const std::string& volume) {
    constexpr int mostSteps = 64;
    Entry entry = volume.empty() ? Entry{} : IOKit::diskCalled(volume.c_str());
    for (int step = 0; entry && step < mostSteps; ++step) {
        if (entry.isOf(DiskKeys::driver)) return nameBelow(entry).value_or(std::string{});
        entry = entry.parent();
    }
    return {};
}

class MacOSVolumes final : public Volumes {
public:
    std::vector<MountedVolume> mounted() override {
        constexpr std::size_t mostVolumes = 64;
        const auto table = currentVolumeTable();
        if (!table) return {};
        std::vector<MountedVolume> result = table->volumes(mostVolumes);
        for (MountedVolume& volume : result) volume.counters = countingDisk(diskNameOf(volume.device.view()));
        return result;
    }

    std::vector<DiskCounters> disks() override {
        std::vector<DiskCounters> result;
        for (const Entry& driver : IOKit::entriesOf(DiskKeys::driver)) {
            const CoreFoundation::Owned statistics = driver.property(DiskKeys::statistics, Entry::Place::here);
            const auto count = [&](const char* key) {
                return CoreFoundation::number(CoreFoundation::dictionaryValue(statistics.get(), key));
            };
            auto disk = diskCountersOf(nameBelow(driver), count(DiskKeys::readBytes), count(DiskKeys::writtenBytes));
            if (disk) result.push_back(std::move(*disk));
        }
        return result;
    }
};

}  // namespace

std::unique_ptr<Volumes> Volumes::system() { return std::make_unique<MacOSVolumes>(); }

}  // namespace KestrelCore
