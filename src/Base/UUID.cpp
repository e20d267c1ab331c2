#include "KestrelCore/Base/UUID.hpp"

#include "Base/Random.hpp"
#include "KestrelCore/Base/PlatformError.hpp"

#include <array>
#include <cstdint>
#include <cstring>

namespace KestrelCore {

namespace {

/// Random bytes drawn ahead, one batch a thread: a system call for every record of a scan would be too dear.
struct RandomBatch {
    static constexpr std::size_t capacity = 4096;
    std::array<std::uint8_t, capacity> bytes;
    std::size_t used = capacity;
    std::uint64_t generation = 0;  ///< of the process that drew it: a forked child has a copy, and must not use it
};

/// The value of each hexadecimal digit, -1 for every other byte. A table, since in random digits a branch is guessed
/// wrongly half the time, and a payload has an identifier in every record.
constexpr auto hexValues = [] {
    std::array<std::int8_t, 256> values{};
    values.fill(-1);
    for (std::int8_t i = 0; i < 10; ++i) values[static_cast<std::size_t>('0' + i)] = i;
    for (std::int8_t i = 0; i < 6; ++i) {
        values[static_cast<std::size_t>('a' + i)] = static_cast<std::int8_t>(10 + i);
        values[static_cast<std::size_t>('A' + i)] = static_cast<std::int8_t>(10 + i);
    }
    return values;
}();

int hexValue(char c) { return hexValues[static_cast<unsigned char>(c)]; }

bool isHyphenPosition(std::size_t position) {
    return position == 8 || position == 13 || position == 18 || position == 23;
}

}  // namespace

UUID UUID::random() {
    thread_local RandomBatch batch;
    UUID result;
    const std::uint64_t generation = forkGeneration();
    if (batch.used == RandomBatch::capacity || batch.generation != generation) {
        batch.used = RandomBatch::capacity;
        if (const int error = fillRandom(batch.bytes.data(), RandomBatch::capacity)) throw PlatformError::posix(error);
        batch.used = 0;
        batch.generation = generation;
    }
    std::memcpy(result.bytes.data(), batch.bytes.data() + batch.used, result.bytes.size());
    batch.used += result.bytes.size();
    result.bytes[6] = static_cast<std::uint8_t>((result.bytes[6] & 0x0F) | 0x40);
    result.bytes[8] = static_cast<std::uint8_t>((result.bytes[8] & 0x3F) | 0x80);
    return result;
}

std::optional<UUID> UUID::parse(std::string_view text) {
    if (text.size() != 36) return std::nullopt;
    UUID result;
    std::size_t position = 0;
    int all = 0;  // negative as soon as one value is
    for (std::uint8_t& byte : result.bytes) {
        if (isHyphenPosition(position) && text[position++] != '-') return std::nullopt;
        const int high = hexValue(text[position]);
        const int low = hexValue(text[position + 1]);
        all |= high | low;
        byte = static_cast<std::uint8_t>(high * 16 + low);
        position += 2;
    }
    return all < 0 ? std::nullopt : std::optional{result};
}

void UUID::write(char* out) const {
    static constexpr char digits[] = "0123456789ABCDEF";
    std::size_t position = 0;
    for (const std::uint8_t byte : bytes) {
        if (isHyphenPosition(position)) out[position++] = '-';
        out[position++] = digits[byte >> 4];
        out[position++] = digits[byte & 15];
    }
}

std::string UUID::uuidString() const {
    std::string text(36, '\0');
    write(text.data());
    return text;
}

}  // namespace KestrelCore
