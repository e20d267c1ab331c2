#pragma once

#include "terminal/ScreenKey.hpp"

#include <cstddef>

namespace KestrelCLI {

/// Which line of a long list is chosen, and which of them are in view. A value.
class ListCursor {
public:
    /// The list has that many lines now. The chosen one stays as far as there is one with its number.
    void setCount(std::size_t count);
    /// As many of them are in view.
    void setRows(std::size_t rows);
    void choose(std::size_t line);

    /// Moves by the keys that move in every list: arrows, j and k, pages, the ends, G, the wheel, and a click, whose
    /// row counts from the first line in view. False for any other key, and for a click on no line.
    bool press(const ScreenKey& key);

    [[nodiscard]] std::size_t count() const { return count_; }
    [[nodiscard]] std::size_t chosen() const { return chosen_; }  ///< 0 also where there is none
    [[nodiscard]] std::size_t first() const { return first_; }    ///< the first line in view
    /// One behind the last line in view.
    [[nodiscard]] std::size_t end() const;

private:
    void move(std::ptrdiff_t by);
    void keepInView();

    std::size_t count_ = 0;
    std::size_t rows_ = 0;
    std::size_t first_ = 0;
    std::size_t chosen_ = 0;
};

}  // namespace KestrelCLI
