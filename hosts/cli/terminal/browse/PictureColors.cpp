#include "terminal/browse/PictureColors.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <map>
#include <utility>

namespace KestrelCLI {

namespace {

using Parts = ScreenColor::Parts;

constexpr std::uint8_t black = 0;
constexpr std::uint8_t white = 7;

/// `one` and so much of `other`, 0 to 1.
Parts mixed(const Parts& one, const Parts& other, double share) {
    const auto part = [share](std::uint8_t a, std::uint8_t b) {
        return static_cast<std::uint8_t>(std::lround((1 - share) * a + share * b));
    };
    return {part(one.red, other.red), part(one.green, other.green), part(one.blue, other.blue)};
}

/// How light it looks, 0 to 255.
double lightness(const Parts& parts) { return 0.299 * parts.red + 0.587 * parts.green + 0.114 * parts.blue; }

ScreenColor color(const Parts& parts) { return ScreenColor::rgb(parts.red, parts.green, parts.blue); }

/// On which of the eight black can be read rather than white.
bool isLight(std::uint8_t basic) { return basic == 2 || basic == 3 || basic == 6 || basic == 7; }

constexpr Parts darkest{16, 18, 22};
constexpr Parts lightest{252, 252, 252};

}  // namespace

PictureColors::Hue PictureColors::placeHue(std::size_t place) const {
    static constexpr std::array<Hue, 9> hues{{{{84, 132, 186}, 4},
                                              {{236, 146, 60}, 3},
                                              {{98, 170, 90}, 2},
                                              {{178, 124, 170}, 5},
                                              {{106, 182, 180}, 6},
                                              {{222, 94, 92}, 1},
                                              {{226, 196, 84}, 3},
                                              {{164, 126, 104}, 5},
                                              {{244, 160, 172}, 6}}};
    // Told apart by their lightness, too, and no red beside a green.
    static constexpr std::array<Hue, 7> forColorBlind{{{{0, 114, 178}, 4},
                                                       {{230, 159, 0}, 3},
                                                       {{86, 180, 233}, 6},
                                                       {{204, 121, 167}, 5},
                                                       {{240, 228, 66}, 7},
                                                       {{213, 94, 0}, 1},
                                                       {{0, 158, 115}, 6}}};
    return isForColorBlind_ ? forColorBlind[place % forColorBlind.size()] : hues[place % hues.size()];
}

PictureColors::Hue PictureColors::kindHue(const PictureItem& item) const {
    using KestrelCore::ItemCategory;
    if (item.isFolder) return {{96, 112, 150}, 4};
    if (isForColorBlind_) {
        switch (item.category.value_or(ItemCategory::other)) {
        case ItemCategory::photos: return {{240, 228, 66}, 7};
        case ItemCategory::videos: return {{213, 94, 0}, 1};
        case ItemCategory::music: return {{204, 121, 167}, 5};
        case ItemCategory::documents: return {{0, 114, 178}, 4};
        case ItemCategory::archives: return {{230, 159, 0}, 3};
        case ItemCategory::code: return {{0, 158, 115}, 6};
        case ItemCategory::applications: return {{86, 180, 233}, 6};
        case ItemCategory::diskImages: return {{84, 84, 90}, 0};
        case ItemCategory::databases: return {{242, 206, 224}, 7};
        case ItemCategory::other: break;
        }
        return {{150, 150, 156}, 7};
    }
    switch (item.category.value_or(ItemCategory::other)) {
    case ItemCategory::photos: return {{226, 196, 84}, 3};
    case ItemCategory::videos: return {{222, 94, 92}, 1};
    case ItemCategory::music: return {{178, 124, 170}, 5};
    case ItemCategory::documents: return {{84, 150, 214}, 4};
    case ItemCategory::archives: return {{236, 146, 60}, 3};
    case ItemCategory::code: return {{98, 170, 90}, 2};
    case ItemCategory::applications: return {{106, 182, 180}, 6};
    case ItemCategory::diskImages: return {{164, 126, 104}, 5};
    case ItemCategory::databases: return {{244, 160, 172}, 6};
    case ItemCategory::other: break;
    }
    return {{150, 150, 156}, 7};
}

PictureColors::Hue PictureColors::changeHue(const PictureItem& item) {
    constexpr Parts unchanged{112, 114, 120};
    const auto change = static_cast<double>(item.change.value_or(0));
    const double whole = std::max({static_cast<double>(item.bytes), std::abs(change), 1.0});
    const double share = std::abs(change) / whole;
    if (share < 0.001) return {unchanged, white};
    // A hundredth is told from nothing, and a half from all.
    const double strength = std::clamp(std::log10(1 + 999 * share) / 3, 0.25, 1.0);
    if (change > 0) return {mixed({186, 146, 134}, {255, 112, 84}, strength), 1};
    return {mixed({88, 108, 100}, {10, 92, 62}, strength), 2};
}

PictureColors::Hue PictureColors::hueOf(const PictureTile& tile) const {
    if (tile.item == nullptr) return {{66, 68, 74}, black};
    switch (coloring_) {
    case PictureColoring::places: return placeHue(tile.rank);
    case PictureColoring::kinds: return kindHue(*tile.item);
    case PictureColoring::changes: break;
    }
    return changeHue(*tile.item);
}

PicturePaint PictureColors::paint(const Hue& hue) const {
    if (depth_ == ColorDepth::none) return {};
    if (depth_ == ColorDepth::eight || depth_ == ColorDepth::sixteen) {
        const ScreenColor text = ScreenColor::indexed(isLight(hue.basic) ? black : white);
        return {.ground = ScreenColor::indexed(hue.basic),
                .edge = ScreenColor::indexed(black),
                .text = text,
                .quietText = text};
    }
    const ScreenColor ground = color(hue.parts).within(depth_);
    const Parts text = lightness(ground.parts()) > 125 ? darkest : lightest;
    return {.ground = ground,
            .edge = color(mixed(hue.parts, darkest, 0.5)).within(depth_),
            .text = color(text).within(depth_),
            .quietText = color(mixed(text, hue.parts, 0.3)).within(depth_)};
}

PicturePaint PictureColors::of(const PictureTile& tile) const {
    Hue hue = hueOf(tile);
    // A frame is darker than its content, and neighbours of one hue are not quite alike.
    if (tile.isFrame) {
        hue.parts = mixed(hue.parts, darkest, tile.level == 0 ? 0.6 : 0.35);
    } else if (tile.item != nullptr && depth_ == ColorDepth::direct && coloring_ != PictureColoring::changes &&
               tile.path.back() % 2 != 0) {
        hue.parts = mixed(hue.parts, lightest, 0.14);
    }
    return paint(hue);
}

PicturePaint PictureColors::chosen() const {
    PicturePaint out = paint({lightest, white});
    if (depth_ == ColorDepth::sixteen) out.ground = ScreenColor::indexed(15);
    out.edge = out.ground;
    return out;
}

std::vector<PictureColors::Meaning> PictureColors::meanings(const std::vector<PictureItem>& items) const {
    const auto ground = [this](const Hue& hue) { return paint(hue).ground; };
    if (coloring_ == PictureColoring::places) return {};
    if (coloring_ == PictureColoring::changes) {
        const auto changed = [](std::int64_t change) {
            return changeHue(
                {.name = {}, .bytes = 1, .isFolder = false, .category = {}, .change = change, .children = {}});
        };
        return {{ground(changed(1)), "grew"}, {ground(changed(-1)), "shrank"}, {ground(changed(0)), "as it was"}};
    }
    std::map<KestrelCore::ItemCategory, std::int64_t> bytes;
    std::int64_t inFolders = 0;
    const auto count = [&](const std::vector<PictureItem>& of, const auto& self) -> void {
        for (const PictureItem& item : of) {
            if (!item.children.empty()) {
                self(item.children, self);
            } else if (item.isFolder) {
                inFolders += item.bytes;
            } else {
                bytes[item.category.value_or(KestrelCore::ItemCategory::other)] += item.bytes;
            }
        }
    };
    count(items, count);
    std::vector<std::pair<KestrelCore::ItemCategory, std::int64_t>> ordered{bytes.begin(), bytes.end()};
    std::ranges::stable_sort(ordered, std::ranges::greater{}, [](const auto& each) { return each.second; });
    std::vector<Meaning> out;
    PictureItem example;
    for (const auto& [category, total] : ordered) {
        example.category = category;
        out.push_back({ground(kindHue(example)), KestrelCore::ItemCategories::nameOf(category)});
    }
    example.isFolder = true;
    if (inFolders > 0) out.push_back({ground(kindHue(example)), "folders"});
    return out;
}

}  // namespace KestrelCLI
