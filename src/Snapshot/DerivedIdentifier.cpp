#include "Snapshot/DerivedIdentifier.hpp"

#include <cstddef>

// A random UUID has 122 free bits: 60 beside the version in its first half, 62 beside the variant in its second. Four
// rounds of a Feistel network over the two halves, keyed by the seed, map the numbers into them. Each round adds to one
// half what it makes of the other, which can be taken away again: so no two numbers meet, whatever is added.

namespace KestrelCore {

namespace {

constexpr std::uint64_t lowBits(unsigned count) { return (std::uint64_t{1} << count) - 1; }

std::uint64_t word(const UUID& id, std::size_t begin) {
    std::uint64_t result = 0;
    for (std::size_t i = begin; i < begin + sizeof result; ++i) result = result << 8 | id.bytes[i];
    return result;
}

void putWord(UUID& id, std::size_t begin, std::uint64_t value) {
    for (std::size_t i = 0; i < sizeof value; ++i)
        id.bytes[begin + i] = static_cast<std::uint8_t>(value >> (56 - 8 * i));
}

/// Every bit of the result depends on every bit of both.
std::uint64_t mixed(std::uint64_t value, std::uint64_t key) {
    value += key;
    value = (value ^ value >> 30) * 0xBF58476D1CE4E5B9U;
    value = (value ^ value >> 27) * 0x94D049BB133111EBU;
    return value ^ value >> 31;
}

}  // namespace

UUID derivedIdentifier(const UUID& seed, std::uint32_t number) {
    const std::uint64_t keys[]{word(seed, 0), word(seed, 8)};
    std::uint64_t high = number;
    std::uint64_t low = 0;
    low ^= mixed(high, keys[0]) & lowBits(62);
    high ^= mixed(low, keys[1]) & lowBits(60);
    low ^= mixed(high, ~keys[0]) & lowBits(62);
    high ^= mixed(low, ~keys[1]) & lowBits(60);
    UUID id;
    putWord(id, 0, high >> 12 << 16 | std::uint64_t{4} << 12 | (high & lowBits(12)));
    putWord(id, 8, std::uint64_t{2} << 62 | low);
    return id;
}

}  // namespace KestrelCore
