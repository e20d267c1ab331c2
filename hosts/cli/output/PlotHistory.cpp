#include "output/PlotHistory.hpp"

#include <algorithm>
#include <array>
#include <cmath>

namespace KestrelCLI {

namespace {

/// Wider than terminals are. What is older is forgotten: a monitor may run for days.
constexpr std::size_t mostValues = 512;
/// From nothing to full. The lowest is drawn too, so that a figure of zero can be told from one that is not there yet.
constexpr std::array unicodeLevels{"▁", "▂", "▃", "▄", "▅", "▆", "▇", "█"};
constexpr std::array asciiLevels{"_", ".", ":", "-", "=", "+", "*", "#"};

}  // namespace

void PlotHistory::add(double value) {
    values_.push_back(std::isfinite(value) ? value : 0);
    if (values_.size() > mostValues) values_.pop_front();
}

double PlotHistory::largest() const { return values_.empty() ? 0 : std::max(0.0, *std::ranges::max_element(values_)); }

std::string PlotHistory::plot(std::size_t columns, double full, bool isUnicode) const {
    const std::size_t shown = std::min(columns, values_.size());
    // The newest value stands at the right edge; where there are fewer than columns, the left stays empty.
    std::string out(columns - shown, ' ');
    for (auto value = values_.end() - static_cast<std::ptrdiff_t>(shown); value != values_.end(); ++value) {
        const double fraction = full > 0 ? std::clamp(*value / full, 0.0, 1.0) : 0;
        // Seven steps between eight levels.
        const auto level = static_cast<std::size_t>(std::lround(fraction * 7));
        out += isUnicode ? unicodeLevels[level] : asciiLevels[level];
    }
    return out;
}

}  // namespace KestrelCLI
