#pragma once

#include "KestrelCore/Base/Text.hpp"
#include "KestrelCore/Model/FileRecord.hpp"

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace KestrelCLI {

/// The items that were marked, in whatever folders they lie. An item below another marked one goes with that and is not
/// marked by itself. A value.
class BrowseMarks {
public:
    /// Marks the item, or takes its mark away. What lies below a marked folder can't be marked: false.
    bool toggle(const KestrelCore::FileRecord& record);
    void mark(const KestrelCore::FileRecord& record);
    void clear();
    /// Takes the marks of these items, and of what lies below them, away.
    void remove(const std::vector<KestrelCore::Text>& paths);

    /// Whether the item itself is marked, or a folder above it.
    [[nodiscard]] bool covers(const KestrelCore::Text& path) const;
    [[nodiscard]] bool isEmpty() const { return marked_.empty(); }
    [[nodiscard]] std::size_t count() const { return marked_.size(); }
    /// The items as they were shown, by the bytes of their paths.
    [[nodiscard]] std::vector<KestrelCore::FileRecord> records() const;
    [[nodiscard]] std::vector<KestrelCore::Text> paths() const;
    /// The sum of what they show, hard links counted wherever they are.
    [[nodiscard]] std::int64_t shownBytes() const;

    /// What would really come free, as it was measured for these very marks; absent while it is not known.
    [[nodiscard]] std::optional<std::int64_t> freedBytes() const { return freedBytes_; }
    void setFreedBytes(std::int64_t bytes) { freedBytes_ = bytes; }
    /// Counts up with each change, so that an answer can be matched to its question.
    [[nodiscard]] std::uint64_t version() const { return version_; }

private:
    void changed();

    std::map<std::string, KestrelCore::FileRecord, std::less<>> marked_;  ///< by the bytes of the path
    std::optional<std::int64_t> freedBytes_;
    std::uint64_t version_ = 0;
};

}  // namespace KestrelCLI
