#pragma once

#include <compare>
#include <cstdint>

namespace KestrelCLI {

/// How many colours a terminal has; none also where none are wanted.
enum class ColorDepth : std::uint8_t { none, eight, sixteen, indexed, direct };

/// A colour of a full-screen page. A value; what the terminal can't show becomes what comes nearest.
class ScreenColor {
public:
    /// None: what the terminal's owner has set.
    constexpr ScreenColor() = default;
    /// One of the usual 256: 0–7 and 8–15 (bright) look as the terminal's owner has set them, then a cube of 6×6×6,
    /// then 24 greys.
    [[nodiscard]] static constexpr ScreenColor indexed(std::uint8_t index) { return {Kind::indexed, index, 0, 0}; }
    [[nodiscard]] static constexpr ScreenColor rgb(std::uint8_t red, std::uint8_t green, std::uint8_t blue) {
        return {Kind::rgb, red, green, blue};
    }

    [[nodiscard]] constexpr bool isNone() const { return kind_ == Kind::none; }
    [[nodiscard]] constexpr bool isIndexed() const { return kind_ == Kind::indexed; }
    /// Only of one that `isIndexed`.
    [[nodiscard]] constexpr std::uint8_t index() const { return first_; }

    struct Parts {
        std::uint8_t red = 0;
        std::uint8_t green = 0;
        std::uint8_t blue = 0;
        bool operator==(const Parts&) const = default;
    };
    /// The parts of red, green and blue; those of an indexed one as terminals usually come. Black for none.
    [[nodiscard]] Parts parts() const;

    /// The nearest one that can be shown: an indexed one of 8, 16 or 256, any where all can, else none.
    [[nodiscard]] ScreenColor within(ColorDepth depth) const;

    auto operator<=>(const ScreenColor&) const = default;

private:
    enum class Kind : std::uint8_t { none, indexed, rgb };
    constexpr ScreenColor(Kind kind, std::uint8_t first, std::uint8_t second, std::uint8_t third)
        : kind_{kind}, first_{first}, second_{second}, third_{third} {}

    Kind kind_ = Kind::none;
    std::uint8_t first_ = 0;  ///< the index, or red
    std::uint8_t second_ = 0;
    std::uint8_t third_ = 0;
};

}  // namespace KestrelCLI
