#include "Applications/Bundles/PropertyList.hpp"

#include "Base/TextScan.hpp"

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

// A binary property list:
//
//   "bplist00" | objects … | offset table | trailer (32 bytes)
//
// The trailer holds, big-endian: 6 unused bytes, the bytes per offset, the bytes per reference, the number of objects,
// the root's number, and where the offset table begins (8 bytes each). An object begins with one byte, its type in the
// upper half and in the lower a count or size; the count 15 says that an integer object with the real count follows.
// Containers hold references: numbers of objects. Nothing in the format forbids that one object is referred to a
// million times over, or that it contains itself: 264 bytes can unfold to 8^20 objects. So the walk below follows every
// reference, counts what it unfolds, and stops at the limits. Only the outermost dictionary's strings are kept.

namespace KestrelCore {
namespace {

constexpr std::size_t headerBytes = 8;
constexpr std::size_t trailerBytes = 32;

/// `size` bytes (1 to 8) as a big-endian number; the caller has checked that they lie inside.
std::uint64_t bigEndian(std::string_view bytes, std::size_t offset, std::size_t size) {
    std::uint64_t number = 0;
    for (std::size_t i = 0; i < size; ++i) number = number << 8 | static_cast<unsigned char>(bytes[offset + i]);
    return number;
}

bool isNumberSize(std::size_t size) { return size == 1 || size == 2 || size == 4 || size == 8; }

/// One object as the file claims it, checked to lie before the offset table.
struct Object {
    enum class Kind : std::uint8_t { scalar, string, array, dictionary } kind = Kind::scalar;
    std::size_t content = 0;    ///< where the references of a container or the characters of a string begin
    std::size_t count = 0;      ///< elements of an array, pairs of a dictionary, units of a string
    std::size_t unitBytes = 1;  ///< of a string: 1 for ASCII, 2 for UTF-16
    std::size_t payload = 0;    ///< of a string or data: what it may take once it is decoded, in bytes
};

class BinaryReader {
public:
    explicit BinaryReader(std::string_view bytes) : bytes_{bytes} {}

    std::optional<PropertyListStrings> run() {
        if (!readTrailer()) return std::nullopt;
        std::vector<Frame> frames;
        const std::optional<Object> root = visit(root_, frames);
        if (!root || root->kind != Object::Kind::dictionary) return std::nullopt;
        keys_.reserve(root->count);
        frames.push_back({root_, *root, 0});
        while (!frames.empty()) {
            Frame& frame = frames.back();
            const bool isDictionary = frame.object.kind == Object::Kind::dictionary;
            if (frame.next == frame.object.count * (isDictionary ? 2 : 1)) {
                frames.pop_back();
                continue;
            }
            const std::size_t position = frame.next++;
            const std::uint64_t number =
                bigEndian(bytes_, frame.object.content + position * referenceBytes_, referenceBytes_);
            const std::optional<Object> child = visit(number, frames);
            if (!child) return std::nullopt;
            // The first half of a dictionary's references are its keys.
            const bool isKey = isDictionary && position < frame.object.count;
            if (isKey && !isSoundKey(*child)) return std::nullopt;
            if (frames.size() == 1) keep(*child, isKey, position);
            if (!isContainer(*child)) continue;
            if (frames.size() == PropertyListLimits::nesting) return std::nullopt;
            frames.push_back({number, *child, 0});
        }
        return std::move(strings_);
    }

private:
    struct Frame {
        std::uint64_t number;
        Object object;
        std::size_t next;
    };

    static bool isContainer(const Object& object) {
        return object.kind == Object::Kind::array || object.kind == Object::Kind::dictionary;
    }

    /// A string without a NUL: no key that somebody asks for has one.
    bool isSoundKey(const Object& object) const {
        if (object.kind != Object::Kind::string) return false;
        for (std::size_t i = 0; i < object.count; ++i) {
            if (unitAt(object, i) == 0) return false;
        }
        return true;
    }

    std::uint64_t unitAt(const Object& string, std::size_t index) const {
        return bigEndian(bytes_, string.content + index * string.unitBytes, string.unitBytes);
    }

    /// Up to a NUL, which no name or identifier has: what stands behind would be hidden from all who print it.
    Text textOf(const Object& string) const {
        if (string.unitBytes == 1) {
            const std::string_view bytes = bytes_.substr(string.content, string.count);
            return Text{bytes.substr(0, bytes.find('\0'))};
        }
        std::u16string units;
        units.reserve(string.count);
        for (std::size_t i = 0; i < string.count && unitAt(string, i) != 0; ++i)
            units.push_back(static_cast<char16_t>(unitAt(string, i)));
        return Text{utf8FromUTF16(units)};
    }

    /// Takes what a reference of the outermost dictionary leads to. All keys come before the first value, and the later
    /// of two equal keys replaces the value.
    void keep(const Object& object, bool isKey, std::size_t position) {
        if (isKey) {
            keys_.push_back(textOf(object));
            return;
        }
        std::optional<Text> value;
        if (object.kind == Object::Kind::string) value = textOf(object);
        strings_.insert_or_assign(keys_[position - keys_.size()], std::move(value));
    }

    bool readTrailer() {
        if (bytes_.size() < headerBytes + trailerBytes) return false;
        const std::size_t trailer = bytes_.size() - trailerBytes;
        offsetBytes_ = static_cast<unsigned char>(bytes_[trailer + 6]);
        referenceBytes_ = static_cast<unsigned char>(bytes_[trailer + 7]);
        const std::uint64_t objects = bigEndian(bytes_, trailer + 8, 8);
        root_ = bigEndian(bytes_, trailer + 16, 8);
        const std::uint64_t table = bigEndian(bytes_, trailer + 24, 8);
        if (!isNumberSize(offsetBytes_) || !isNumberSize(referenceBytes_)) return false;
        if (table < headerBytes || table > trailer) return false;
        if (objects == 0 || objects > (trailer - table) / offsetBytes_) return false;
        table_ = static_cast<std::size_t>(table);
        objects_ = static_cast<std::size_t>(objects);
        return root_ < objects_;
    }

    /// Looks at an object inside the containers `frames`, and counts it.
    std::optional<Object> visit(std::uint64_t number, const std::vector<Frame>& frames) {
        if (++visited_ > PropertyListLimits::objects || number >= objects_) return std::nullopt;
        for (const Frame& frame : frames) {
            if (frame.number == number) return std::nullopt;  // it would contain itself
        }
        const std::optional<Object> object =
            objectAt(bigEndian(bytes_, table_ + static_cast<std::size_t>(number) * offsetBytes_, offsetBytes_));
        if (!object) return std::nullopt;
        payload_ += object->payload;
        if (payload_ > PropertyListLimits::payload) return std::nullopt;
        return object;
    }

    std::optional<Object> objectAt(std::uint64_t claimedOffset) const {
        if (claimedOffset < headerBytes || claimedOffset >= table_) return std::nullopt;
        std::size_t offset = static_cast<std::size_t>(claimedOffset);
        const auto marker = static_cast<unsigned char>(bytes_[offset++]);
        const unsigned type = marker >> 4;
        const unsigned low = marker & 0x0FU;
        switch (type) {
        case 0x0:  // false and true; a null is in no list of this version
            return low == 8 || low == 9 ? scalar(offset, 0) : std::nullopt;
        case 0x1: return low <= 4 ? scalar(offset, std::size_t{1} << low) : std::nullopt;              // integer
        case 0x2: return low == 2 || low == 3 ? scalar(offset, std::size_t{1} << low) : std::nullopt;  // real
        case 0x3: return low == 3 ? scalar(offset, 8) : std::nullopt;                                  // date
        case 0x8: return low == 0 || low == 1 || low == 3 || low == 7 ? scalar(offset, low + 1U) : std::nullopt;  // UID
        default: break;
        }
        const std::optional<std::size_t> count = countAt(offset, low);
        if (!count) return std::nullopt;
        switch (type) {
        case 0x4: return counted(Object::Kind::scalar, offset, *count, 1, 1);  // data
        case 0x5: return counted(Object::Kind::string, offset, *count, 1, 1);  // ASCII
        case 0x6: return counted(Object::Kind::string, offset, *count, 2, 3);  // UTF-16, at most three bytes in UTF-8
        case 0xA: return counted(Object::Kind::array, offset, *count, referenceBytes_, 0);
        case 0xD: return counted(Object::Kind::dictionary, offset, *count, 2 * referenceBytes_, 0);
        default: return std::nullopt;
        }
    }

    std::optional<Object> scalar(std::size_t offset, std::size_t size) const {
        if (size > table_ - offset) return std::nullopt;
        return Object{};
    }

    std::optional<Object> counted(Object::Kind kind, std::size_t offset, std::size_t count, std::size_t unitBytes,
                                  std::size_t payloadBytes) const {
        if (count > (table_ - offset) / unitBytes) return std::nullopt;
        return Object{
            .kind = kind, .content = offset, .count = count, .unitBytes = unitBytes, .payload = count * payloadBytes};
    }

    /// The count of an object, and `offset` moved behind it.
    std::optional<std::size_t> countAt(std::size_t& offset, unsigned low) const {
        if (low != 0x0F) return low;
        if (offset >= table_) return std::nullopt;
        const auto marker = static_cast<unsigned char>(bytes_[offset++]);
        const unsigned power = marker & 0x0FU;
        if (marker >> 4 != 1 || power > 3) return std::nullopt;
        const std::size_t size = std::size_t{1} << power;
        if (size > table_ - offset) return std::nullopt;
        const std::uint64_t count = bigEndian(bytes_, offset, size);
        offset += size;
        if (count > bytes_.size()) return std::nullopt;
        return static_cast<std::size_t>(count);
    }

    std::string_view bytes_;
    std::size_t offsetBytes_ = 0;
    std::size_t referenceBytes_ = 0;
    std::size_t objects_ = 0;
    std::uint64_t root_ = 0;
    std::size_t table_ = 0;
    std::size_t visited_ = 0;
    std::size_t payload_ = 0;
    std::vector<Text> keys_;  ///< of the outermost dictionary
    PropertyListStrings strings_;
};

}  // namespace

std::optional<PropertyListStrings> readBinaryPropertyList(std::string_view bytes) {
    if (bytes.size() > PropertyListLimits::fileBytes || !bytes.starts_with("bplist00")) return std::nullopt;
    return BinaryReader{bytes}.run();
}

}  // namespace KestrelCore
