#include "Platform/Linux/SystemFile.hpp"

#include "Base/BoundedRetry.hpp"
#include "Platform/POSIX/DescriptorContents.hpp"
#include "Platform/POSIX/FileDescriptor.hpp"
#include "Platform/POSIX/Walk/DirectoryEntries.hpp"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <unistd.h>

// The kernel makes these texts at the moment of the reading, so each is read in as few calls as it takes: a text that
// is read in pieces may change between two of them. Sizes are never asked for: the kernel does not know them before.

namespace KestrelCore {
namespace {

constexpr std::size_t mebibyte = 1U << 20;

FileDescriptor opened(int folder, const char* name) {
    // Without blocking: nothing here should be a FIFO, and nothing is waited for if it is.
    return FileDescriptor{
        repeatedWhenInterrupted([&] { return openat(folder, name, O_RDONLY | O_CLOEXEC | O_NONBLOCK); })};
}

/// Bytes read, 0 at the end, below 0 on failure.
ssize_t readOnce(const FileDescriptor& file, char* out, std::size_t size) {
    return repeatedWhenInterrupted([&] { return ::read(file.get(), out, size); });
}

}  // namespace

std::optional<std::string_view> SystemFile::beginning(int folder, const char* name, std::span<char> buffer) {
    const FileDescriptor file = opened(folder, name);
    if (!file.isOpen()) return std::nullopt;
    const ssize_t got = readOnce(file, buffer.data(), buffer.size());
    if (got < 0) return std::nullopt;
    return std::string_view{buffer.data(), static_cast<std::size_t>(got)};
}

std::optional<std::string_view> SystemFile::whole(int folder, const char* name, std::string& buffer) {
    const FileDescriptor file = opened(folder, name);
    if (!file.isOpen()) return std::nullopt;
    std::size_t length = 0;
    while (length < mebibyte) {
        constexpr std::size_t smallestRead = 4096;
        if (buffer.size() - length < smallestRead) buffer.resize(std::max(2 * buffer.size(), 4 * smallestRead));
        const ssize_t got = readOnce(file, buffer.data() + length, buffer.size() - length);
        if (got < 0) return std::nullopt;
        if (got == 0) break;
        length += static_cast<std::size_t>(got);
    }
    return std::string_view{buffer}.substr(0, length);
}

std::optional<std::string> SystemFile::contents(const std::string& path) {
    const FileDescriptor file = opened(AT_FDCWD, path.c_str());
    if (!file.isOpen()) return std::nullopt;
    return contentsOfDescriptor(file.get(), 64 * mebibyte);
}

std::string SystemFile::attribute(const std::string& path) {
    char buffer[4096];
    return std::string{beginning(AT_FDCWD, path.c_str(), buffer).value_or(std::string_view{})};
}

std::vector<std::string> SystemFile::names(const std::string& folder) {
    std::vector<std::string> names;
    const FileDescriptor opened{
        repeatedWhenInterrupted([&] { return open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC | O_NONBLOCK); })};
    DirectoryEntries listing{DirectoryEntries::manyEntries};
    while (opened.isOpen() && listing.readPiece(opened.get()))
        while (const ListedEntry* entry = listing.next()) names.emplace_back(entry->name);
    std::ranges::sort(names);
    return names;
}

}  // namespace KestrelCore
