#include "Snapshot/Coding/PlainRecordReader.hpp"

#include "Base/DecimalText.hpp"
#include "Base/TextScan.hpp"

#include <bit>
#include <cstdint>
#include <cstring>
#include <optional>

// A payload that this library has written holds every record in one spelling:
//
//     {"id":"…","identity":{"device":1,"inode":2},"parentPath":"\/a","path":"\/a\/b","name":"b","kind":0, … ,"risk":0}
//
// So keys are compared rather than parsed, the path is compared with the parent and the name rather than read a second
// and a third time, and a folder is looked up only when it is another than the last record's. A million records take
// about a fifth of the time that a general reader needs. Every byte taken is either compared with a known one or
// checked for what JSON and UTF-8 ask of it.

namespace KestrelCore {

namespace {

constexpr std::uint64_t ones = 0x0101010101010101U;
constexpr std::uint64_t highs = 0x8080808080808080U;

std::uint64_t bytesEqualTo(std::uint64_t word, unsigned char byte) {
    const std::uint64_t difference = word ^ (ones * byte);
    return (difference - ones) & ~difference & highs;
}

std::uint64_t load(const char* p) {
    std::uint64_t word = 0;
    std::memcpy(&word, p, 8);
    if constexpr (std::endian::native == std::endian::big) word = __builtin_bswap64(word);
    return word;
}

constexpr bool isDigit(char c) { return c >= '0' && c <= '9'; }

}  // namespace

/// A position in the text. Every step either takes what it names and returns true, or returns false.
class PlainRecordReader::Cursor {
public:
    Cursor(const char* p, const char* end) : p_{p}, end_{end} {}

    [[nodiscard]] const char* position() const { return p_; }

    template <std::size_t size>
    bool skip(const char (&literal)[size]) {
        constexpr std::size_t length = size - 1;
        if (left() < length || std::memcmp(p_, literal, length) != 0) return false;
        p_ += length;
        return true;
    }
    bool skip(std::string_view text) {
        if (left() < text.size() || std::memcmp(p_, text.data(), text.size()) != 0) return false;
        p_ += text.size();
        return true;
    }

    /// The bytes up to the next quote, which is taken too. False for a control character, an escape where
    /// `allowsEscapes` is not set, and bytes that are not UTF-8.
    bool string(std::string_view& raw, bool allowsEscapes) {
        const char* start = p_;
        bool isPlain = true;  // ASCII so far
        for (const char* p = p_; p < end_;) {
            if (end_ - p >= 8) {
                const std::uint64_t word = load(p);
                // A byte above another flagged one may be flagged wrongly; the first flag is always right.
                const std::uint64_t flags = bytesEqualTo(word, '"') | bytesEqualTo(word, '\\') |
                                            ((word - ones * 0x20) & ~word & highs) | (word & highs);
                if (flags == 0) {
                    p += 8;
                    continue;
                }
                p += std::countr_zero(flags) / 8;
            }
            const auto byte = static_cast<unsigned char>(*p);
            if (byte == '"') {
                raw = {start, static_cast<std::size_t>(p - start)};
                p_ = p + 1;
                return isPlain || isWellFormedUTF8(raw);
            }
            if (byte < 0x20) return false;
            if (byte == '\\') {
                if (!allowsEscapes || end_ - p < 2) return false;
                p += 2;
                continue;
            }
            if (byte >= 0x80) isPlain = false;
            ++p;
        }
        return false;
    }

    template <typename Integer>
    bool integer(Integer& value) {
        const char* p = p_;
        const bool isNegative = std::is_signed_v<Integer> && p < end_ && *p == '-';
        if (isNegative) ++p;
        const char* start = p;
        std::uint64_t sum = 0;
        for (; p < end_ && isDigit(*p); ++p) sum = sum * 10 + static_cast<std::uint64_t>(*p - '0');
        const std::ptrdiff_t digits = p - start;
        // Eighteen digits fit every type; the rest, and a zero before other digits, is for the general reader.
        if (digits == 0 || digits > 18 || (digits > 1 && *start == '0') || p == end_) return false;
        value = static_cast<Integer>(isNegative ? 0 - sum : sum);
        p_ = p;
        return true;
    }

    /// A number without an exponent.
    bool number(double& value) {
        const char* p = p_;
        if (p < end_ && *p == '-') ++p;
        const char* start = p;
        std::uint64_t mantissa = 0;
        for (; p < end_ && isDigit(*p); ++p) mantissa = mantissa * 10 + static_cast<std::uint64_t>(*p - '0');
        const std::ptrdiff_t whole = p - start;
        if (whole == 0 || (whole > 1 && *start == '0')) return false;
        std::ptrdiff_t fraction = 0;
        if (p < end_ && *p == '.') {
            const char* point = p++;
            for (; p < end_ && isDigit(*p); ++p) mantissa = mantissa * 10 + static_cast<std::uint64_t>(*p - '0');
            fraction = p - point - 1;
            if (fraction == 0) return false;
        }
        if (p == end_ || (*p != ',' && *p != '}') || whole + fraction > 19) return false;
        // Both operands are exact, so the division rounds once, as the definition of the value does.
        static constexpr double powers[]{1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,  1e8,  1e9,
                                         1e10, 1e11, 1e12, 1e13, 1e14, 1e15, 1e16, 1e17, 1e18, 1e19};
        if (mantissa < (std::uint64_t{1} << 53)) {
            value = static_cast<double>(mantissa) / powers[fraction];
            if (*p_ == '-') value = -value;
        } else if (readDecimal(p_, p, value).ptr != p) {
            return false;
        }
        p_ = p;
        return true;
    }

    bool boolean(bool& value) {
        value = p_ < end_ && *p_ == 't';
        return value ? skip("true") : skip("false");
    }

    bool digit(unsigned& value) {
        if (left() < 2 || !isDigit(p_[0]) || isDigit(p_[1])) return false;
        value = static_cast<unsigned>(*p_++ - '0');
        return true;
    }

    bool uuid(UUID& id) {
        if (left() < 36) return false;
        const auto parsed = UUID::parse({p_, 36});
        if (!parsed) return false;
        id = *parsed;
        p_ += 36;
        return true;
    }

private:
    [[nodiscard]] std::size_t left() const { return static_cast<std::size_t>(end_ - p_); }

    const char* p_;
    const char* end_;
};

/// Makes `rawParent` the folder of the records that follow.
bool PlainRecordReader::findFolder(std::string_view rawParent) {
    parent_.clear();
    for (std::size_t i = 0; i < rawParent.size(); ++i) {
        if (rawParent[i] == '\\' && (++i == rawParent.size() || rawParent[i] != '/')) return false;
        parent_ += rawParent[i];
    }
    // Spelled otherwise, the top folder would not be the prefix of the paths in it.
    if (parent_ == "/" && rawParent != "\\/") return false;
    const auto found = storage_.folder(parent_);
    if (!found) return false;
    rawParent_ = rawParent;
    folder_ = *found;
    return true;
}

bool PlainRecordReader::readRecord(Cursor& cursor) {
    RecordStorage::Fields fields;
    std::string_view rawParent;
    std::string_view name;
    std::string_view extension;
    unsigned kind = 0;
    unsigned risk = 0;

    if (!cursor.skip("{\"id\":\"") || !cursor.uuid(fields.id.emplace()) || !cursor.skip("\",\"")) return false;
    if (cursor.skip("identity\":{\"device\":")) {
        FileIdentity& identity = fields.identity.emplace();
        if (!cursor.integer(identity.device) || !cursor.skip(",\"inode\":") || !cursor.integer(identity.inode) ||
            !cursor.skip("},\"")) {
            return false;
        }
    }
    if (!cursor.skip("parentPath\":\"")) return false;
    // The last record's folder, when its text and a quote follow.
    Cursor ahead = cursor;
    const bool isSameFolder = !rawParent_.empty() && ahead.skip(rawParent_) && ahead.skip("\"");
    if (isSameFolder) {
        rawParent = rawParent_;
        cursor = ahead;
    } else if (!cursor.string(rawParent, true)) {
        return false;
    }
    if (!cursor.skip(",\"path\":\"")) return false;
    if (rawParent != "\\/" && !cursor.skip(rawParent)) return false;
    if (!cursor.skip("\\/") || !cursor.string(name, false) || name.size() > NameArena::longestName ||
        name.find('/') != std::string_view::npos) {
        return false;
    }
    if (!cursor.skip(",\"name\":\"") || !cursor.skip(name) || !cursor.skip("\",\"kind\":") || !cursor.digit(kind) ||
        !fromRawValue<FileKind>(kind)) {
        return false;
    }
    if (!cursor.skip(",\"logicalBytes\":") || !cursor.integer(fields.logicalBytes) ||
        !cursor.skip(",\"allocatedBytes\":") || !cursor.integer(fields.allocatedBytes) ||
        !cursor.skip(",\"aggregateAllocatedBytes\":") || !cursor.integer(fields.aggregateAllocatedBytes) ||
        !cursor.skip(",\"")) {
        return false;
    }
    if (cursor.skip("modifiedAt\":")) {
        if (!cursor.number(fields.modifiedAt.emplace().secondsSinceReferenceDate) || !cursor.skip(",\"")) return false;
    }
    if (!cursor.skip("fileExtension\":\"") || !cursor.string(extension, false) || !cursor.skip(",\"isHidden\":") ||
        !cursor.boolean(fields.isHidden) || !cursor.skip(",\"isCloudPlaceholder\":") ||
        !cursor.boolean(fields.isCloudPlaceholder) || !cursor.skip(",\"isHardLinkDuplicate\":") ||
        !cursor.boolean(fields.isHardLinkDuplicate) || !cursor.skip(",\"risk\":") || !cursor.digit(risk) ||
        !fromRawValue<RiskLevel>(risk) || !cursor.skip("}")) {
        return false;
    }
    if (!isSameFolder && !findFolder(rawParent)) return false;

    fields.kind = static_cast<FileKind>(kind);
    fields.risk = static_cast<RiskLevel>(risk);
    fields.extension = storage_.internExtension(extension);
    storage_.fill(storage_.appendRegular(folder_, name), fields);
    return true;
}

PlainRecordReader::Progress PlainRecordReader::read(std::string_view text) {
    Progress progress;
    Cursor cursor{text.data(), text.data() + text.size()};
    while (readRecord(cursor)) {
        progress.bytes = static_cast<std::size_t>(cursor.position() - text.data());
        ++progress.records;
        if (!cursor.skip(",")) break;
    }
    return progress;
}

}  // namespace KestrelCore
