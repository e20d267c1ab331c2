#include "Platform/macOS/Removal/MountPoints.hpp"

#include <sys/mount.h>
#include <sys/param.h>
#include <sys/ucred.h>

namespace KestrelCore::MacOS {

std::optional<std::vector<std::string>> mountPoints() {
    constexpr int mostTries = 8;
    for (int tries = 0; tries < mostTries; ++tries) {
        const int count = ::getfsstat(nullptr, 0, MNT_NOWAIT);
        if (count < 0) return std::nullopt;
        // Room for one more shows whether something was mounted in between.
        std::vector<struct statfs> mounts(static_cast<std::size_t>(count) + 1);
        const int got = ::getfsstat(mounts.data(), static_cast<int>(mounts.size() * sizeof(struct statfs)), MNT_NOWAIT);
        if (got < 0) return std::nullopt;
        if (static_cast<std::size_t>(got) == mounts.size()) continue;
        std::vector<std::string> points;
        for (int i = 0; i < got; ++i)
            points.emplace_back(static_cast<const char*>(mounts[static_cast<std::size_t>(i)].f_mntonname));
        return points;
    }
    return std::nullopt;
}

}  // namespace KestrelCore::MacOS
