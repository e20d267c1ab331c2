#pragma once

#include <concepts>
#include <cstdint>
#include <string>

namespace KestrelCLI {

/// What sizes are rounded to: 1 kB = 1000 bytes, or 1 KiB = 1024 bytes.
enum class SizeUnits { decimal, binary };

/// Sizes and counts as a person reads them.
class ByteFormat {
public:
    ByteFormat() = delete;

    /// Three digits: "0 B", "999 B", "4.82 GB", "120 MB"; of binary units up to four, as 1023 of one are less than one
    /// of the next: "4.49 GiB", "1010 KiB".
    [[nodiscard]] static std::string rounded(std::int64_t bytes, SizeUnits units = SizeUnits::decimal);
    /// Every byte: "4822151168 B".
    [[nodiscard]] static std::string exact(std::int64_t bytes);
    /// With separators: "1,083,440".
    [[nodiscard]] static std::string count(std::int64_t number);
    /// "1 item", "1,083,440 items".
    template <std::integral Count>
    [[nodiscard]] static std::string items(Count number) {
        return things(static_cast<std::int64_t>(number), "item");
    }
    /// "1 file", "1,083,440 files".
    template <std::integral Count>
    [[nodiscard]] static std::string files(Count number) {
        return things(static_cast<std::int64_t>(number), "file");
    }
    /// "41.3 %" of a whole; "0 %" of none, "<0.1 %" for more than nothing, "–" for a part that is above the whole.
    [[nodiscard]] static std::string share(std::int64_t part, std::int64_t whole);

private:
    [[nodiscard]] static std::string things(std::int64_t number, const char* name);
};

}  // namespace KestrelCLI
