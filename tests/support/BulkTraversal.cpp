#include "support/BulkTraversal.hpp"

#include "Platform/POSIX/Walk/FolderWalk.hpp"
#include "Platform/POSIX/Walk/StatusAt.hpp"
#include "Platform/macOS/Walk/Portable/BulkFolders.hpp"
#include "Platform/macOS/Walk/Portable/VolumeCrossing.hpp"

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <dirent.h>
#include <string_view>
#include <utility>

namespace KestrelCore {

namespace {

class MadeFolders final : public BulkFolders {
public:
    explicit MadeFolders(std::shared_ptr<const BulkSetting> setting) : setting_{std::move(setting)} {}

private:
    int list(int folder, std::span<char> buffer) override {
        if (setting_->isUnknownCall) {
            errno = ENOTSUP;
            return -1;
        }
        std::string records;
        int count = 0;
        // A small piece of the listing, so that its records fit; one that holds only "." and ".." is no end.
        while (count == 0) {
            alignas(dirent64) std::array<char, 4096> names;
            const ssize_t got = getdents64(folder, names.data(), names.size());
            if (got <= 0) return static_cast<int>(got);
            for (std::size_t offset = 0; offset < static_cast<std::size_t>(got);) {
                dirent64 entry;
                std::memcpy(&entry, names.data() + offset, offsetof(dirent64, d_name));
                const char* name = names.data() + offset + offsetof(dirent64, d_name);
                offset += entry.d_reclen;
                if (name == std::string_view{"."} || name == std::string_view{".."}) continue;
                records += record(folder, name);
                ++count;
            }
        }
        if (records.size() > buffer.size()) {
            errno = ERANGE;
            return -1;
        }
        records.copy(buffer.data(), records.size());
        return count;
    }

    std::string record(int folder, const char* name) const {
        MadeBulkRecord made{.name = name};
        std::uint64_t mount = 0;
        made.error = static_cast<std::uint32_t>(statusAt(folder, name, made.status, mount));
        if (made.error != 0) made.common = BulkAttributes::Common::name | BulkAttributes::Common::returned;
        if (made.error != 0) made.file = 0;
        if (setting_->adjust) setting_->adjust(made);
        return bulkRecordBytes(made);
    }

    std::shared_ptr<const BulkSetting> setting_;
};

class MadeWalk final : public WalkSystem {
public:
    explicit MadeWalk(BulkSetting setting) : setting_{std::make_shared<const BulkSetting>(std::move(setting))} {}

    std::unique_ptr<FolderSource> source() const override { return std::make_unique<MadeFolders>(setting_); }
    std::unique_ptr<CrossingPlan> crossingPlan(MountCrossing crossing, const std::string& root,
                                               const FileStatus& status) const override {
        return std::make_unique<VolumeCrossing>(crossing, setting_->volumes, root, root, status);
    }

private:
    std::shared_ptr<const BulkSetting> setting_;
};

}  // namespace

std::unique_ptr<Traversal> openBulkTraversal(const TraversalOptions& options, BulkSetting setting) {
    return openFolderWalk(options, std::make_shared<MadeWalk>(std::move(setting)));
}

}  // namespace KestrelCore
