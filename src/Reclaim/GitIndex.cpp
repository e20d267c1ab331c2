#include "Reclaim/GitIndex.hpp"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <utility>

// The file, numbers with their largest byte first:
//
//   "DIRC", version, number of entries
//   entries   40 bytes of times, numbers, mode and size; the identifier of the content (20 or 32 bytes); flags of two
//             bytes, from version 3 on two more where the first ones say so; the path up to a NUL.
//             Up to version 3 NULs fill the entry up to eight bytes. From version 4 on a path is a number of bytes to
//             drop from the end of the path before, and what then follows.
//   extensions   four letters, a length, content; a small first letter for what nobody may read without knowing it
//   the checksum, as long as an identifier
//
// How long an identifier is stands in the repository's configuration. But only one of the two lengths leads from the
// first entry to the checksum, so that it need not be read.

namespace KestrelCore {

namespace {

constexpr std::size_t sha1Bytes = 20;
constexpr std::size_t sha256Bytes = 32;

/// Of all paths together; a small index of version 4 can stand for any amount.
constexpr std::size_t mostPathBytes = std::size_t{1} << 30;
constexpr std::size_t longestPath = std::size_t{1} << 16;

class IndexReader {
public:
    IndexReader(std::string_view bytes, std::size_t identifierBytes)
        : bytes_{bytes}, identifierBytes_{identifierBytes} {}

    /// False where this is no index with identifiers of this length.
    [[nodiscard]] bool read() {
        constexpr std::size_t header = 12;
        if (bytes_.size() < header + identifierBytes_ || !bytes_.starts_with("DIRC")) return false;
        content_ = bytes_.substr(0, bytes_.size() - identifierBytes_);
        at_ = sizeof("DIRC") - 1;
        version_ = number();
        const std::uint32_t entries = number();
        if (version_ < 2 || version_ > 4) return false;
        for (std::uint32_t i = 0; i < entries; ++i) {
            if (!readEntry()) return false;
        }
        while (at_ < content_.size()) {
            if (!readExtension()) return false;
        }
        return true;
    }

    std::vector<std::string> paths;
    std::string sharedName;

private:
    [[nodiscard]] std::size_t left() const { return content_.size() - at_; }
    /// What is asked for must be there.
    std::uint32_t number() {
        std::uint32_t value = 0;
        for (int i = 0; i < 4; ++i) value = value << 8 | static_cast<unsigned char>(content_[at_++]);
        return value;
    }

    [[nodiscard]] bool readEntry() {
        constexpr std::size_t statusBytes = 40;
        constexpr std::size_t flagBytes = 2;
        constexpr unsigned char isExtended = 0x40;
        const std::size_t start = at_;
        if (left() < statusBytes + identifierBytes_ + flagBytes) return false;
        at_ += statusBytes + identifierBytes_;
        const bool hasMoreFlags = version_ > 2 && (static_cast<unsigned char>(content_[at_]) & isExtended) != 0;
        at_ += flagBytes;
        if (hasMoreFlags && left() < flagBytes) return false;
        if (hasMoreFlags) at_ += flagBytes;
        std::size_t kept = 0;
        if (version_ == 4) {
            const auto dropped = droppedBytes();
            if (!dropped || *dropped > previous_.size()) return false;
            kept = previous_.size() - *dropped;
        }
        const std::size_t end = content_.find('\0', at_);
        if (end == std::string_view::npos || end - at_ > longestPath - std::min(kept, longestPath)) return false;
        previous_.resize(kept);
        previous_ += content_.substr(at_, end - at_);
        at_ = end + 1;
        if (version_ < 4) {
            const std::size_t padded = (end - start + 8) / 8 * 8;
            if (padded > content_.size() - start) return false;
            at_ = start + padded;
        }
        pathBytes_ += previous_.size();
        if (pathBytes_ > mostPathBytes) return false;
        // Of a split index those whose path stands in the other file have none here.
        if (!previous_.empty()) paths.push_back(previous_);
        return true;
    }

    /// Seven bits a byte, the highest ones first; every further byte adds one, so that no number has two forms.
    [[nodiscard]] std::optional<std::size_t> droppedBytes() {
        constexpr unsigned char goesOn = 0x80;
        std::size_t value = 0;
        for (bool isFirst = true; at_ < content_.size(); isFirst = false) {
            const auto byte = static_cast<unsigned char>(content_[at_++]);
            value = (isFirst ? 0 : (value + 1) << 7) | (byte & ~goesOn);
            if (value > longestPath) return std::nullopt;
            if ((byte & goesOn) == 0) return value;
        }
        return std::nullopt;
    }

    [[nodiscard]] bool readExtension() {
        if (left() < 8) return false;
        const std::string_view name = content_.substr(at_, 4);
        at_ += name.size();
        const std::uint32_t length = number();
        if (left() < length) return false;
        const std::string_view content = content_.substr(at_, length);
        at_ += length;
        if (name == "link") return readSharedName(content);
        const bool mayBeSkipped = name.front() >= 'A' && name.front() <= 'Z';
        return mayBeSkipped || name == "sdir";
    }

    [[nodiscard]] bool readSharedName(std::string_view content) {
        if (content.size() < identifierBytes_) return false;
        const std::string_view identifier = content.substr(0, identifierBytes_);
        // With nothing but NULs it stands alone after all.
        if (identifier.find_first_not_of('\0') == std::string_view::npos) return true;
        constexpr std::string_view digits = "0123456789abcdef";
        sharedName = "sharedindex.";
        for (const char each : identifier) {
            const auto byte = static_cast<unsigned char>(each);
            sharedName += digits[byte >> 4];
            sharedName += digits[byte & 0xF];
        }
        return true;
    }

    std::string_view bytes_;
    std::size_t identifierBytes_;
    std::string_view content_;  ///< without the checksum
    std::size_t at_ = 0;
    std::uint32_t version_ = 0;
    std::string previous_;
    std::size_t pathBytes_ = 0;
};

}  // namespace

std::optional<GitIndex> GitIndex::of(std::string_view bytes) {
    for (const std::size_t identifierBytes : {sha1Bytes, sha256Bytes}) {
        IndexReader reader{bytes, identifierBytes};
        if (!reader.read()) continue;
        GitIndex index;
        index.paths_ = std::move(reader.paths);
        index.sharedName_ = std::move(reader.sharedName);
        // Git sorts them. A part of a split index has gaps in between, and a damaged one may have anything.
        if (!std::ranges::is_sorted(index.paths_)) std::ranges::sort(index.paths_);
        return index;
    }
    return std::nullopt;
}

bool GitIndex::tracks(std::string_view path) const {
    if (path.empty()) return !paths_.empty();
    const auto has = [&](std::string_view wanted) {
        return std::ranges::binary_search(paths_, wanted, {},
                                          [](const std::string& each) -> std::string_view { return each; });
    };
    if (has(path)) return true;
    // A folder that was left out of the working copy, but is tracked as a whole.
    for (std::size_t slash = path.find('/'); slash != std::string_view::npos; slash = path.find('/', slash + 1)) {
        if (has(path.substr(0, slash + 1))) return true;
    }
    const std::string below = std::string{path} + '/';
    const auto first = std::ranges::lower_bound(paths_, below);
    return first != paths_.end() && first->starts_with(below);
}

}  // namespace KestrelCore
