#include "support/FtsTraversal.hpp"

#include "Platform/POSIX/StatusTimes.hpp"

#include <cerrno>
#include <fts.h>
#include <string>
#include <sys/stat.h>

namespace KestrelCore {

namespace {

FileType typeOf(mode_t mode) {
    if (S_ISREG(mode)) return FileType::regular;
    if (S_ISDIR(mode)) return FileType::directory;
    if (S_ISLNK(mode)) return FileType::symbolicLink;
    if (S_ISFIFO(mode)) return FileType::fifo;
    if (S_ISSOCK(mode)) return FileType::socket;
    if (S_ISCHR(mode)) return FileType::characterDevice;
    if (S_ISBLK(mode)) return FileType::blockDevice;
    return FileType::unknown;
}

class FtsTraversal final : public Traversal {
public:
    explicit FtsTraversal(const TraversalOptions& options) : root_{options.root}, cancellation_{options.cancellation} {
        char* const roots[] = {root_.data(), nullptr};
        handle_ = fts_open(roots, FTS_NOCHDIR | FTS_PHYSICAL | FTS_XDEV, nullptr);
        isOpen_ = handle_ != nullptr;
    }
    FtsTraversal(const FtsTraversal&) = delete;
    FtsTraversal& operator=(const FtsTraversal&) = delete;
    ~FtsTraversal() override {
        if (isOpen_) fts_close(handle_);
    }

    [[nodiscard]] bool isOpen() const { return isOpen_; }

    const TraversalEntry* next() override {
        if (isDone_) return nullptr;
        if (cancellation_.isCancelled()) return finish(ECANCELED);
        found_ = fts_read(handle_);
        if (found_ == nullptr) return finish(errno);
        const bool isRoot = found_->fts_level == FTS_ROOTLEVEL;
        entry_ = {};
        entry_.level = static_cast<std::uint32_t>(found_->fts_level);
        entry_.name = isRoot ? std::string_view{root_} : std::string_view{found_->fts_name, found_->fts_namelen};
        using Kind = TraversalEntry::Kind;
        switch (found_->fts_info) {
        case FTS_D: entry_.kind = Kind::directory; break;
        case FTS_DP: entry_.kind = Kind::directoryEnd; break;
        case FTS_DNR: entry_.kind = Kind::unreadableDirectory; break;
        case FTS_NS: entry_.kind = Kind::noStatus; break;
        case FTS_ERR:
        case FTS_DC: entry_.kind = Kind::error; break;
        default: entry_.kind = Kind::item; break;
        }
        if (entry_.kind == Kind::directory || entry_.kind == Kind::item) {
            setStatus(*found_->fts_statp);
            entry_.status = &status_;
        } else if (entry_.kind != Kind::directoryEnd) {
            entry_.errorNumber = found_->fts_errno;
        }
        return &entry_;
    }

    void skipDescendants() override {
        if (found_ != nullptr && found_->fts_info == FTS_D) fts_set(handle_, found_, FTS_SKIP);
    }

    int errorNumber() const override { return errorNumber_; }

private:
    const TraversalEntry* finish(int errorNumber) {
        isDone_ = true;
        errorNumber_ = errorNumber;
        return nullptr;
    }

    void setStatus(const struct stat& found) {
        status_.device = found.st_dev;
        status_.inode = found.st_ino;
        status_.links = found.st_nlink;
        status_.size = found.st_size;
        status_.allocatedBytes = found.st_blocks * 512;
        status_.modifiedSeconds = modificationTime(found).tv_sec;
        status_.modifiedNanoseconds = static_cast<std::uint32_t>(modificationTime(found).tv_nsec);
        status_.type = typeOf(found.st_mode);
#ifdef __APPLE__
        status_.device = static_cast<std::uint32_t>(found.st_dev);
        status_.isUserHidden = (found.st_flags & UF_HIDDEN) != 0;
        status_.isDataless = (found.st_flags & SF_DATALESS) != 0;
#endif
    }

    std::string root_;
    CancellationToken cancellation_;
    FTS* handle_ = nullptr;
    FTSENT* found_ = nullptr;
    bool isOpen_ = false;
    bool isDone_ = false;
    int errorNumber_ = 0;
    FileStatus status_;
    TraversalEntry entry_;
};

}  // namespace

std::unique_ptr<Traversal> openFtsTraversal(const TraversalOptions& options) {
    auto traversal = std::make_unique<FtsTraversal>(options);
    return traversal->isOpen() ? std::move(traversal) : nullptr;
}

}  // namespace KestrelCore
