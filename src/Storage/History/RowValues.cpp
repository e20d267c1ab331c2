#include "Storage/History/RowValues.hpp"

#include <bit>
#include <cmath>

namespace KestrelCore {

using namespace StoredUnits;

namespace {

constexpr char escape = '\x1B';

void appendLength(std::string& bytes, std::size_t length) {
    for (; length >= 0x80; length >>= 7) bytes += static_cast<char>(length | 0x80);
    bytes += static_cast<char>(length);
}

}  // namespace

StoredDate storedDate(std::optional<Date> date) {
    if (!date) return {.seconds = 0, .fraction = 0, .shape = RowShape::noDate};
    const double value = date->secondsSinceReferenceDate;
    const double whole = std::floor(value);
    // Times of disks: the whole part fits, and so does every binary digit behind the point, but for some days of 2001.
    if (std::abs(whole) < static_cast<double>(biasOfSeconds)) {
        const StoredDate stored{
            .seconds = static_cast<std::uint64_t>(static_cast<std::int64_t>(whole)) + biasOfSeconds,
            .fraction = static_cast<std::uint64_t>((value - whole) * scale),
            .shape = 0,
        };
        if (std::bit_cast<std::uint64_t>(joined(stored.seconds, stored.fraction)) ==
            std::bit_cast<std::uint64_t>(value)) {
            return stored;
        }
    }
    return {.seconds = std::bit_cast<std::uint64_t>(value), .fraction = 0, .shape = RowShape::rawDate};
}

StoredAllocation storedAllocation(std::int64_t allocated, std::int64_t logical) {
    const std::uint64_t above = static_cast<std::uint64_t>(allocated) - inBlocks(logical);
    if (above % unit != 0) {
        return {.allocated = static_cast<std::uint64_t>(allocated), .shape = RowShape::rawAllocated};
    }
    const std::uint64_t units = static_cast<std::uint64_t>(static_cast<std::int64_t>(above) / std::int64_t{unit});
    return {.allocated = zigzag(units), .shape = 0};
}

std::string joinedTexts(const std::vector<std::string_view>& texts) {
    std::string bytes;
    for (const std::string_view text : texts) {
        appendLength(bytes, text.size());
        bytes += text;
    }
    return bytes;
}

std::optional<std::vector<std::string_view>> separatedTexts(std::string_view bytes) {
    std::vector<std::string_view> texts;
    while (!bytes.empty()) {
        std::uint64_t length = 0;
        std::size_t used = 0;
        bool isLast = false;
        while (!isLast) {
            if (used == bytes.size() || used == 9) return std::nullopt;
            const auto byte = static_cast<std::uint8_t>(bytes[used]);
            length |= static_cast<std::uint64_t>(byte & 0x7F) << (7 * used);
            isLast = byte < 0x80;
            ++used;
        }
        bytes.remove_prefix(used);
        if (length > bytes.size()) return std::nullopt;
        texts.push_back(bytes.substr(0, length));
        bytes.remove_prefix(length);
    }
    return texts;
}

std::string withoutSlashes(std::string_view text) {
    std::string result;
    for (const char c : text) {
        if (c == '/' || c == escape) {
            result += escape;
            result += c == '/' ? 's' : 'e';
        } else {
            result += c;
        }
    }
    return result;
}

std::optional<std::string> withSlashes(std::string_view text) {
    std::string result;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != escape) {
            result += text[i];
            continue;
        }
        if (++i == text.size() || (text[i] != 's' && text[i] != 'e')) return std::nullopt;
        result += text[i] == 's' ? '/' : escape;
    }
    return result;
}

std::int64_t HistoryAges::day(Date date) {
    const double seconds = std::floor(date.secondsSinceReferenceDate);
    return std::abs(seconds) < static_cast<double>(biasOfSeconds) ? static_cast<std::int64_t>(seconds) : 0;
}

std::size_t HistoryAges::classOf(std::uint64_t seconds, std::uint64_t shape) const {
    if ((shape & (RowShape::noDate | RowShape::rawDate)) != 0) return classes - 1;
    // Modulo 2^64: of a time no disk has this may be any class, the same each time.
    const auto age = static_cast<std::int64_t>(static_cast<std::uint64_t>(countedFrom) - (seconds - biasOfSeconds));
    for (std::size_t i = 0; i < days.size(); ++i) {
        if (age <= days[i] * 86'400) return i;
    }
    return classes - 1;
}

}  // namespace KestrelCore
