#pragma once

#include "terminal/ScreenCells.hpp"

#include <cstddef>
#include <functional>
#include <string>
#include <utility>

namespace KestrelCLI {

/// What a terminal must be told for a screen to look as wanted. An empty text is something that it can't do.
struct ScreenCommands {
    std::function<std::string(std::size_t row, std::size_t column)> moveTo;
    std::function<std::string(ScreenColor)> foreground;  ///< of one that the terminal has
    std::function<std::string(ScreenColor)> background;
    std::string clear;  ///< all blank
    std::string clearToEndOfLine;
    std::string plain;  ///< no look any more
    std::string bold;
    std::string dim;
    std::string reversed;
    std::string underlined;
    /// Whether the last column of the last row can be written without the screen moving up.
    bool hasLastCell = true;
};

/// The way from what a terminal shows to what it should.
class ScreenWriter {
public:
    explicit ScreenWriter(ScreenCommands commands) : commands_{std::move(commands)} {}

    /// What a terminal that shows `shown` is sent to show `wanted`: only what differs. Of screens of different sizes
    /// everything does, and `shown` is cleared away.
    [[nodiscard]] std::string change(const ScreenCells& shown, const ScreenCells& wanted) const;
    /// The same for a terminal of which nothing is known.
    [[nodiscard]] std::string all(const ScreenCells& wanted) const;
    /// Has the terminal's cursor there.
    [[nodiscard]] std::string moveTo(std::size_t row, std::size_t column) const {
        return commands_.moveTo(row, column);
    }

private:
    [[nodiscard]] static bool isShortWay(const ScreenCells& wanted, std::size_t row, std::size_t begin, std::size_t end,
                                         const CellLook& look);
    void writeRow(std::string& out, const ScreenCells& shown, const ScreenCells& wanted, std::size_t row,
                  CellLook& look) const;
    [[nodiscard]] std::string lookCommand(const CellLook& before, const CellLook& look) const;

    ScreenCommands commands_;
};

}  // namespace KestrelCLI
