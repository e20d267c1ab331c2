#include "Platform/ContentFile.hpp"

#include "Base/BoundedRetry.hpp"
#include "Platform/POSIX/ContentReading.hpp"
#include "Platform/POSIX/FileDescriptor.hpp"
#include "Platform/POSIX/StatusIdentity.hpp"
#include "Platform/POSIX/StatusTimes.hpp"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace KestrelCore {

namespace {

ContentState stateOf(const struct stat& status) {
    constexpr std::int64_t bytesInABlock = 512;
    // No disk has more; what a file system claims beyond it must not make a sum overflow.
    constexpr std::int64_t mostBlocks = (std::int64_t{1} << 50) / bytesInABlock;
    const std::int64_t blocks = status.st_blocks < 0 ? 0 : status.st_blocks;
    return {.identity = identityOf(status),
            .links = status.st_nlink,
            .bytes = status.st_size,
            .allocatedBytes = (blocks > mostBlocks ? mostBlocks : blocks) * bytesInABlock,
            .modifiedSeconds = modificationTime(status).tv_sec,
            .modifiedNanoseconds = modificationTime(status).tv_nsec,
            .changedSeconds = changeTime(status).tv_sec,
            .changedNanoseconds = changeTime(status).tv_nsec};
}

bool isPlainFile(const struct stat& status) { return S_ISREG(status.st_mode) && status.st_size >= 0; }

}  // namespace

ContentFile::Opening ContentFile::open(const std::string& path) {
    if (path.find('\0') != std::string::npos) return {.file = {}, .errorNumber = EINVAL};
    // A look before: to open a device may already do something, such as rewind a tape.
    struct stat found {};
    if (lstat(path.c_str(), &found) != 0) return {.file = {}, .errorNumber = errno};
    if (!isPlainFile(found)) return {.file = {}, .errorNumber = S_ISLNK(found.st_mode) ? ELOOP : EINVAL};
    if (const int obstacle = contentObstacle(found)) return {.file = {}, .errorNumber = obstacle};
    const int flags = O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
    FileDescriptor file{openLeavingAccessTime(path.c_str(), flags)};
    if (!file.isOpen()) return {.file = {}, .errorNumber = errno};
    struct stat status {};
    if (fstat(file.get(), &status) != 0) return {.file = {}, .errorNumber = errno};
    if (!isPlainFile(status)) return {.file = {}, .errorNumber = EINVAL};
    return {.file = ContentFile{file.release(), stateOf(status)}, .errorNumber = 0};
}

ContentFile::ContentFile(ContentFile&& other) noexcept
    : descriptor_{std::exchange(other.descriptor_, -1)}, opened_{other.opened_} {}

ContentFile& ContentFile::operator=(ContentFile&& other) noexcept {
    if (this != &other) {
        if (descriptor_ >= 0) ::close(descriptor_);
        descriptor_ = std::exchange(other.descriptor_, -1);
        opened_ = other.opened_;
    }
    return *this;
}

ContentFile::~ContentFile() {
    if (descriptor_ >= 0) ::close(descriptor_);
}

std::optional<ContentState> ContentFile::state() const {
    struct stat status {};
    if (fstat(descriptor_, &status) != 0 || !isPlainFile(status)) return std::nullopt;
    return stateOf(status);
}

std::optional<std::size_t> ContentFile::read(std::int64_t offset, std::span<char> buffer) const {
    std::size_t done = 0;
    while (done < buffer.size()) {
        const ssize_t size = repeatedWhenInterrupted([&] {
            return pread(descriptor_, buffer.data() + done, buffer.size() - done,
                         offset + static_cast<std::int64_t>(done));
        });
        if (size < 0) return std::nullopt;
        if (size == 0) break;
        done += static_cast<std::size_t>(size);
    }
    return done;
}

std::int64_t ContentFile::nextData(std::int64_t offset) const {
    const off_t found = lseek(descriptor_, offset, SEEK_DATA);
    if (found >= offset) return found;
    // Without an answer it is all data, which reads as what it is.
    return errno == ENXIO ? opened_.bytes : offset;
}

std::int64_t ContentFile::nextHole(std::int64_t offset) const {
    const off_t found = lseek(descriptor_, offset, SEEK_HOLE);
    return found > offset && found < opened_.bytes ? found : opened_.bytes;
}

void ContentFile::expect(ReadingPattern pattern) const { expectReading(descriptor_, pattern); }

void ContentFile::readAhead(std::int64_t offset, std::int64_t bytes) const {
    readContentAhead(descriptor_, offset, bytes);
}

}  // namespace KestrelCore
