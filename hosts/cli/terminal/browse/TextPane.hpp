#pragma once

#include "output/TerminalText.hpp"
#include "terminal/ListCursor.hpp"
#include "terminal/ScreenKey.hpp"

#include <cstddef>
#include <string>
#include <vector>

namespace KestrelCLI {

/// A text to be read in a page, which moves under the keys where it is longer. A value.
class TextPane {
public:
    TextPane(std::string title, std::vector<ScreenLine> lines, Characters characters);

    void resize(std::size_t columns, std::size_t rows);
    /// False for a key that does not move the text.
    bool press(const ScreenKey& key);
    [[nodiscard]] std::vector<ScreenLine> lines() const;

private:
    std::string title_;
    std::vector<ScreenLine> text_;
    Characters characters_;
    std::size_t columns_ = 80;
    std::size_t rows_ = 0;
    std::size_t first_ = 0;
};

/// A name and what is said of it, in lines of at most `columns`.
void addFact(std::vector<ScreenLine>& lines, const std::string& name, const std::string& value, std::size_t columns);

}  // namespace KestrelCLI
