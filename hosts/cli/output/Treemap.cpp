#include "output/Treemap.hpp"

#include <algorithm>
#include <cmath>
#include <limits>

// Squarified: the heaviest weights make a strip along the shorter side of the room, as many as it takes for their tiles
// to be nearest to squares; the rest of the room is filled likewise. Edges lie on whole units from the start, so there
// is neither gap nor overlap, and what one strip has too much by rounding the next ones have less. Each weight has at
// least one unit: a strip takes no more weights than it is long, and leaves as many units as there are weights to come.

namespace KestrelCLI {

namespace {

struct Weight {
    std::size_t index;
    double amount;
};

/// The weights from `begin` to `end` of `weights` as a strip, or all that is still to be laid out.
struct Strip {
    std::size_t begin = 0;
    std::size_t end = 0;
    double amount = 0;
};

class Layout {
public:
    Layout(std::span<const Weight> weights, const GridRectangle& room, double unitHeight)
        : weights_{weights}, room_{room}, unitHeight_{unitHeight} {
        places_.reserve(weights.size());
    }

    /// The place of each weight, in their order. There must be at least as many units as weights.
    std::vector<GridRectangle> places() && {
        double amount = 0;
        for (const Weight& weight : weights_) amount += weight.amount;
        while (places_.size() < weights_.size()) {
            const Strip strip = nextStrip(amount);
            place(strip, amount);
            amount = std::max(0.0, amount - strip.amount);
        }
        return std::move(places_);
    }

private:
    /// Strips stand at the left of what is wider than high, and lie at the top of what is not.
    [[nodiscard]] bool isUpright() const {
        return static_cast<double>(room_.width) >= static_cast<double>(room_.height) * unitHeight_;
    }
    [[nodiscard]] std::size_t length() const { return isUpright() ? room_.height : room_.width; }
    [[nodiscard]] std::size_t depth() const { return isUpright() ? room_.width : room_.height; }

    /// The strip that comes next of weights that are `amount` together.
    [[nodiscard]] Strip nextStrip(double amount) const {
        const std::size_t begin = places_.size();
        const std::size_t left = weights_.size() - begin;
        // With fewer there would be no room for the others, with more none for these.
        const std::size_t room = length() * (depth() - 1);
        const std::size_t fewest = std::max<std::size_t>(1, left > room ? left - room : 0);
        const std::size_t most = std::min(left, length());
        const double side = static_cast<double>(length()) * (isUpright() ? unitHeight_ : 1);
        const double area = static_cast<double>(room_.area()) * unitHeight_ / std::max(amount, 1e-300);
        Strip strip{.begin = begin, .end = begin, .amount = 0};
        double least = std::numeric_limits<double>::max();
        double largest = 0;
        double best = std::numeric_limits<double>::max();
        while (strip.end - begin < most) {
            const double next = weights_[strip.end].amount * area;
            least = std::min(least, next);
            largest = std::max(largest, next);
            const double together = strip.amount * area + next;
            const double square = together * together;
            // How long the worst of them would be, in its own width.
            const double worst =
                std::max(side * side * largest / square, square / (side * side * std::max(least, 1e-300)));
            if (strip.end - begin >= fewest && worst > best) break;
            best = worst;
            strip.amount += weights_[strip.end++].amount;
        }
        return strip;
    }

    void place(const Strip& strip, double amount) {
        const bool isUpright = this->isUpright();
        const std::size_t length = this->length();
        const std::size_t left = weights_.size() - strip.end;
        const std::size_t most = depth() - (left + length - 1) / length;
        std::size_t thickness = most;
        if (left > 0) {
            const double share = amount > 0 ? strip.amount / amount : 1;
            thickness = std::clamp<std::size_t>(rounded(share * static_cast<double>(depth())), 1, most);
        }
        std::size_t from = 0;
        double before = 0;
        for (std::size_t index = strip.begin; index < strip.end; ++index) {
            before += weights_[index].amount;
            const std::size_t following = strip.end - index - 1;
            const double share = strip.amount > 0 ? before / strip.amount : 1;
            const std::size_t to =
                following == 0 ? length
                               : std::clamp(rounded(share * static_cast<double>(length)), from + 1, length - following);
            places_.push_back(isUpright ? GridRectangle{room_.left, room_.top + from, thickness, to - from}
                                        : GridRectangle{room_.left + from, room_.top, to - from, thickness});
            from = to;
        }
        if (isUpright) {
            room_.left += thickness;
            room_.width -= thickness;
        } else {
            room_.top += thickness;
            room_.height -= thickness;
        }
    }

    static std::size_t rounded(double value) { return static_cast<std::size_t>(std::lround(value)); }

    std::span<const Weight> weights_;
    GridRectangle room_;  ///< what is left of it
    double unitHeight_;
    std::vector<GridRectangle> places_;
};

}  // namespace

Treemap treemap(std::span<const std::int64_t> weights, const GridRectangle& room, const TreemapOptions& options) {
    Treemap out{.tiles = {}, .restCount = weights.size(), .rest = {}};
    auto total = static_cast<double>(std::max<std::int64_t>(0, options.further));
    for (const std::int64_t weight : weights) total += static_cast<double>(std::max<std::int64_t>(0, weight));
    if (room.area() == 0 || total <= 0) return out;

    const double perUnit = total / static_cast<double>(room.area());
    const double needed = perUnit * static_cast<double>(std::max<std::size_t>(1, options.smallestArea));
    std::vector<Weight> shown;
    double rest = total;
    for (std::size_t index = 0; index < weights.size(); ++index) {
        const auto amount = static_cast<double>(weights[index]);
        if (amount < needed || amount <= 0) continue;
        shown.push_back({.index = index, .amount = amount});
        rest -= amount;
    }
    std::ranges::stable_sort(shown, std::ranges::greater{}, &Weight::amount);
    // By rounding of sums alone there can be one too many.
    while (shown.size() > room.area()) {
        rest += shown.back().amount;
        shown.pop_back();
    }
    out.restCount = weights.size() - shown.size();
    const bool hasRest = shown.empty() || (rest >= perUnit && shown.size() < room.area());
    if (hasRest) shown.push_back({.index = weights.size(), .amount = std::max(0.0, rest)});

    const std::vector<GridRectangle> places = Layout{shown, room, options.unitHeight}.places();
    if (hasRest) {
        out.rest = places.back();
        shown.pop_back();
    }
    out.tiles.reserve(shown.size());
    for (std::size_t index = 0; index < shown.size(); ++index) {
        out.tiles.push_back({.index = shown[index].index, .place = places[index]});
    }
    return out;
}

}  // namespace KestrelCLI
