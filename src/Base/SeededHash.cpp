#include "Base/SeededHash.hpp"

#include "Base/Random.hpp"

#include <cstddef>
#include <cstring>

// The two halves of a wide product, folded into one, mix every bit of one factor with every bit of the other, at the
// price of one instruction. Both factors hold something random, so that nobody can choose bytes that make one of them
// zero, which would swallow the other.

namespace KestrelCore {

namespace {

struct Seeds {
    std::uint64_t first = 0;
    std::uint64_t second = 0;
};

const Seeds& seeds() {
    static const Seeds made = [] {
        Seeds random;
        fillRandom(&random, sizeof random);
        return random;
    }();
    return made;
}

std::uint64_t multiplyFold(std::uint64_t a, std::uint64_t b) {
    __extension__ using Wide = unsigned __int128;
    const Wide product = static_cast<Wide>(a) * b;
    return static_cast<std::uint64_t>(product) ^ static_cast<std::uint64_t>(product >> 64);
}

}  // namespace

// Sixteen bytes a step, each step one wide multiplication.
std::uint64_t seededHash(std::string_view bytes) {
    constexpr std::uint64_t lengthFactor = 0xA0761D6478BD642FU;
    const auto [first, second] = seeds();
    std::uint64_t hash = first ^ (bytes.size() * lengthFactor);
    const char* position = bytes.data();
    std::size_t left = bytes.size();
    std::uint64_t words[2];
    for (; left >= sizeof words; left -= sizeof words, position += sizeof words) {
        std::memcpy(words, position, sizeof words);
        hash = multiplyFold(words[0] ^ hash, words[1] ^ second);
    }
    words[0] = words[1] = 0;
    if (left > 0) std::memcpy(words, position, left);
    hash = multiplyFold(words[0] ^ hash, words[1] ^ second);
    return multiplyFold(hash ^ lengthFactor, first ^ second);
}

std::uint64_t seededHash(std::uint64_t hash, std::uint64_t value) {
    const auto [first, second] = seeds();
    return multiplyFold(hash ^ first, value ^ second);
}

}  // namespace KestrelCore
