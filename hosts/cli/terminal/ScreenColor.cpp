#include "terminal/ScreenColor.hpp"

#include <array>
#include <cstddef>
#include <limits>

namespace KestrelCLI {

namespace {

using Parts = ScreenColor::Parts;

/// The first sixteen as xterm has them, where nobody has set others.
constexpr std::array<Parts, 16> basic{{{0, 0, 0},
                                       {205, 0, 0},
                                       {0, 205, 0},
                                       {205, 205, 0},
                                       {0, 0, 238},
                                       {205, 0, 205},
                                       {0, 205, 205},
                                       {229, 229, 229},
                                       {127, 127, 127},
                                       {255, 0, 0},
                                       {0, 255, 0},
                                       {255, 255, 0},
                                       {92, 92, 255},
                                       {255, 0, 255},
                                       {0, 255, 255},
                                       {255, 255, 255}}};
constexpr std::array<std::uint8_t, 6> cubeSteps{0, 95, 135, 175, 215, 255};
constexpr int firstOfCube = 16;
constexpr int firstGrey = 232;

constexpr Parts partsOf(int index) {
    if (index < firstOfCube) return basic[static_cast<std::size_t>(index)];
    if (index >= firstGrey) {
        const auto level = static_cast<std::uint8_t>(8 + 10 * (index - firstGrey));
        return {level, level, level};
    }
    const auto step = [index](int divisor) {
        return cubeSteps[static_cast<std::size_t>((index - firstOfCube) / divisor % 6)];
    };
    return {step(36), step(6), step(1)};
}

/// How far apart two colours look; the eye sees differences of green best, of blue least.
int distance(Parts one, Parts other) {
    const int red = one.red - other.red;
    const int green = one.green - other.green;
    const int blue = one.blue - other.blue;
    return 3 * red * red + 6 * green * green + blue * blue;
}

std::uint8_t nearest(Parts wanted, int begin, int end) {
    int best = begin;
    int least = std::numeric_limits<int>::max();
    for (int index = begin; index < end; ++index) {
        const int own = distance(wanted, partsOf(index));
        if (own >= least) continue;
        least = own;
        best = index;
    }
    return static_cast<std::uint8_t>(best);
}

}  // namespace

ScreenColor::Parts ScreenColor::parts() const {
    switch (kind_) {
    case Kind::indexed: return partsOf(first_);
    case Kind::rgb: return {first_, second_, third_};
    case Kind::none: break;
    }
    return {};
}

ScreenColor ScreenColor::within(ColorDepth depth) const {
    if (isNone() || depth == ColorDepth::none) return {};
    if (depth == ColorDepth::direct || (depth == ColorDepth::indexed && isIndexed())) return *this;
    // The first sixteen are left out: how they look is not known.
    if (depth == ColorDepth::indexed) return indexed(nearest(parts(), firstOfCube, 256));
    const int count = depth == ColorDepth::sixteen ? 16 : 8;
    if (isIndexed() && first_ < 16) return indexed(static_cast<std::uint8_t>(first_ % count));
    return indexed(nearest(parts(), 0, count));
}

}  // namespace KestrelCLI
