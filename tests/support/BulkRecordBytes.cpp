#include "support/BulkRecordBytes.hpp"

#include <cstring>

namespace KestrelCore {

namespace {

using namespace BulkAttributes;

template <typename Value>
void put(std::string& bytes, std::uint32_t mask, std::uint32_t attribute, Value value) {
    if ((mask & attribute) == 0) return;
    bytes.resize(bytes.size() + sizeof value);
    std::memcpy(bytes.data() + bytes.size() - sizeof value, &value, sizeof value);
}

std::uint32_t typeNumber(FileType type) {
    switch (type) {
    case FileType::regular: return 1;
    case FileType::directory: return 2;
    case FileType::blockDevice: return 3;
    case FileType::characterDevice: return 4;
    case FileType::symbolicLink: return 5;
    case FileType::socket: return 6;
    case FileType::fifo: return 7;
    case FileType::unknown: break;
    }
    return 0;
}

}  // namespace

std::string bulkRecordBytes(const MadeBulkRecord& record) {
    const FileStatus& status = record.status;
    const bool isFolder = status.type == FileType::directory && (record.common & Common::type) != 0;
    const std::uint32_t common = record.common | (record.error != 0 ? Common::error : 0);
    const std::uint32_t directory = isFolder ? record.directory : 0;
    const std::uint32_t file = isFolder ? 0 : record.file;
    constexpr std::uint32_t always = 1;
    std::string bytes;
    for (const std::uint32_t word : {std::uint32_t{0}, common, std::uint32_t{0}, directory, file, std::uint32_t{0}})
        put(bytes, always, always, word);
    put(bytes, common, Common::error, record.error);
    const std::size_t reference = bytes.size();
    put(bytes, common, Common::name, std::uint64_t{0});
    put(bytes, common, Common::device, static_cast<std::uint32_t>(status.device));
    put(bytes, common, Common::type, typeNumber(status.type));
    put(bytes, common, Common::modified, status.modifiedSeconds);
    put(bytes, common, Common::modified, std::int64_t{status.modifiedNanoseconds});
    put(bytes, common, Common::flags, record.flags);
    put(bytes, common, Common::inode, status.inode);
    put(bytes, directory, Directory::links, static_cast<std::uint32_t>(status.links));
    put(bytes, directory, Directory::mountStatus, record.mountStatus);
    put(bytes, directory, Directory::allocated, status.allocatedBytes);
    put(bytes, directory, Directory::size, status.size);
    put(bytes, file, File::links, static_cast<std::uint32_t>(status.links));
    put(bytes, file, File::totalSize, status.size);
    put(bytes, file, File::allocated, status.allocatedBytes);
    put(bytes, file, File::size, status.size);
    if ((common & Common::name) != 0) {
        const auto offset = static_cast<std::int32_t>(bytes.size() - reference);
        const auto length = static_cast<std::uint32_t>(record.name.size() + 1);
        std::memcpy(bytes.data() + reference, &offset, sizeof offset);
        std::memcpy(bytes.data() + reference + sizeof offset, &length, sizeof length);
        bytes.append(record.name).push_back('\0');
    }
    constexpr std::size_t alignment = 8;
    bytes.resize((bytes.size() + alignment - 1) / alignment * alignment);
    const auto length = static_cast<std::uint32_t>(bytes.size());
    std::memcpy(bytes.data(), &length, sizeof length);
    return bytes;
}

}  // namespace KestrelCore
