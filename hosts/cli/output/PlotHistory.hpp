#pragma once

#include <cstddef>
#include <deque>
#include <string>

namespace KestrelCLI {

/// The last values of one figure, for a plot of one line. What is older than the widest plot is forgotten.
class PlotHistory {
public:
    void add(double value);

    /// The largest value that is remembered; 0 without one.
    [[nodiscard]] double largest() const;

    /// The newest values, one a column, the latest at the right end; `full` is the value of a full column. Values are
    /// clamped to 0…full. Columns without a value are blank. `isUnicode` draws eighths of a block, else ASCII.
    [[nodiscard]] std::string plot(std::size_t columns, double full, bool isUnicode) const;

private:
    std::deque<double> values_;
};

}  // namespace KestrelCLI
