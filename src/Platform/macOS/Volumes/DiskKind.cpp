#include "Platform/DiskKind.hpp"

#include "Platform/macOS/Frameworks/IORegistry.hpp"
#include "Platform/macOS/Volumes/Portable/DiskValues.hpp"

#include <array>
#include <cstdlib>
#include <sys/stat.h>

namespace KestrelCore {

DiskKind diskKind(std::uint64_t device) {
    // The number of a file system on a disk is the disk's own.
    std::array<char, 64> name{};
    const auto number = static_cast<dev_t>(static_cast<std::uint32_t>(device));
    if (::devname_r(number, S_IFBLK, name.data(), static_cast<int>(name.size())) == nullptr) return DiskKind::unknown;
    name.back() = '\0';
    using IOKit::Entry;
    const CoreFoundation::Owned characteristics =
        IOKit::diskCalled(name.data()).property(DiskKeys::characteristics, Entry::Place::above);
    return diskKindOfMedium(
        CoreFoundation::string(CoreFoundation::dictionaryValue(characteristics.get(), DiskKeys::mediumType)));
}

}  // namespace KestrelCore
