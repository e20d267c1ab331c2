#include "Base/SeededHash.hpp"

#include "Base/Random.hpp"

#include <chrono>
#include <cstddef>
#include <cstring>

namespace KestrelCore {

namespace {

struct Seeds {
    std::uint64_t first = 0;
    std::uint64_t second = 0;
};

const Seeds& seeds() {
    static const Seeds made = [] {
        Seeds random;
        if (fillRandom(&random, sizeof random) != 0) {
            // Who guesses the seeds can make a look-up slow, which is no reason to stop: addresses and the time, which
            // others hardly know, take their place.
            random.first = reinterpret_cast<std::uintptr_t>(&random);
            random.second = static_cast<std::uint64_t>(std::chrono::steady_clock::now().time_since_epoch().count());
        }
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
