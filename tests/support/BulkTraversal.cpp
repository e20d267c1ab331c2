#include "support/BulkTraversal.hpp"

#include "Platform/POSIX/FileDescriptor.hpp"
#include "Platform/POSIX/Walk/FolderWalk.hpp"
#include "Platform/POSIX/Walk/StatusAt.hpp"
#include "Platform/macOS/Walk/Portable/BulkFolders.hpp"
#include "Platform/macOS/Walk/Portable/VolumeCrossing.hpp"

#include <cerrno>
#include <dirent.h>
#include <fcntl.h>
#include <string_view>
#include <unistd.h>
#include <utility>

namespace KestrelCore {

namespace {

/// Their records fit into the buffer with the longest names.
constexpr int mostAtOnce = 150;

class MadeFolders final : public BulkFolders {
public:
    explicit MadeFolders(std::shared_ptr<const BulkSetting> setting) : setting_{std::move(setting)} {}

private:
    int list(int folder, std::span<char> buffer) override {
        if (setting_->refusal != 0) {
            errno = setting_->refusal;
            return -1;
        }
        // The place of the descriptor is the number of names that were given, so that anybody can go on.
        const off_t given = ::lseek(folder, 0, SEEK_CUR);
        if (given > 0 && setting_->refusalOfTheRest != 0) {
            errno = setting_->refusalOfTheRest;
            return -1;
        }
        if (given < 0 || ::lseek(folder, 0, SEEK_SET) != 0) return -1;
        std::string records;
        int count = 0;
        {
            const auto close = [](DIR* stream) { ::closedir(stream); };
            FileDescriptor own{::fcntl(folder, F_DUPFD_CLOEXEC, 0)};
            const std::unique_ptr<DIR, decltype(close)> stream{own.isOpen() ? ::fdopendir(own.get()) : nullptr, close};
            if (stream == nullptr) return -1;
            (void)own.release();
            off_t index = 0;
            errno = 0;
            while (const dirent* entry = count < mostAtOnce ? ::readdir(stream.get()) : nullptr) {
                const std::string_view name{entry->d_name};
                if (name == "." || name == ".." || index++ < given) continue;
                records += record(folder, entry->d_name);
                ++count;
            }
            if (count == 0 && errno != 0) return -1;
        }
        if (records.size() > buffer.size() || ::lseek(folder, given + count, SEEK_SET) < 0) return -1;
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
