#pragma once

#include "output/Settings.hpp"
#include "terminal/ScreenColor.hpp"
#include "terminal/ScreenKey.hpp"
#include "terminal/browse/PictureItem.hpp"
#include "terminal/browse/PictureLayout.hpp"

#include <algorithm>
#include <string_view>
#include <vector>

namespace KestrelCLI {

/// What the colour of a tile tells.
enum class PictureColoring {
    places,  ///< in which item of the folder it lies
    kinds,   ///< what kind of file it is
    changes  ///< whether it grew or shrank since the generation before
};

/// The colours of a tile; all that the terminal has.
struct PicturePaint {
    ScreenColor ground{};
    ScreenColor edge{};       ///< darker, between it and the next
    ScreenColor text{};       ///< can be read on the ground
    ScreenColor quietText{};  ///< likewise
};

/// Colours for the tiles of a picture, as far as the terminal has any. Those of changes differ in lightness too, for
/// who can't tell red from green: what grew is light, what shrank is dark.
class PictureColors {
public:
    PictureColors(PictureColoring coloring, ColorDepth depth, PageColors set = PageColors::usual)
        : coloring_{coloring}, depth_{set == PageColors::terminal ? std::min(depth, ColorDepth::sixteen) : depth},
          isForColorBlind_{set == PageColors::colorBlind} {}

    [[nodiscard]] PicturePaint of(const PictureTile& tile) const;
    /// Of the tile that is chosen.
    [[nodiscard]] PicturePaint chosen() const;

    struct Meaning {
        ScreenColor color{};
        std::string_view name;
    };
    /// What the colours of the items mean, the ones that take most first; empty where each place has its own.
    [[nodiscard]] std::vector<Meaning> meanings(const std::vector<PictureItem>& items) const;

private:
    struct Hue {
        ScreenColor::Parts parts;
        std::uint8_t basic;  ///< what comes nearest of eight
    };
    [[nodiscard]] Hue placeHue(std::size_t place) const;
    [[nodiscard]] Hue kindHue(const PictureItem& item) const;
    [[nodiscard]] static Hue changeHue(const PictureItem& item);
    [[nodiscard]] Hue hueOf(const PictureTile& tile) const;
    [[nodiscard]] PicturePaint paint(const Hue& hue) const;

    PictureColoring coloring_;
    ColorDepth depth_;
    bool isForColorBlind_;
};

}  // namespace KestrelCLI
