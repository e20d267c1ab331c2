#include "terminal/ListCursor.hpp"

#include <algorithm>

namespace KestrelCLI {

namespace {

constexpr std::ptrdiff_t wheelStep = 3;

}  // namespace

void ListCursor::setCount(std::size_t count) {
    count_ = count;
    keepInView();
}

void ListCursor::setRows(std::size_t rows) {
    rows_ = rows;
    keepInView();
}

void ListCursor::choose(std::size_t line) {
    chosen_ = line;
    keepInView();
}

std::size_t ListCursor::end() const { return std::min(count_, first_ + rows_); }

void ListCursor::keepInView() {
    if (count_ == 0 || rows_ == 0) {
        chosen_ = count_ == 0 ? 0 : std::min(chosen_, count_ - 1);
        first_ = 0;
        return;
    }
    chosen_ = std::min(chosen_, count_ - 1);
    first_ = std::clamp(first_, chosen_ + 1 > rows_ ? chosen_ + 1 - rows_ : 0, chosen_);
    first_ = std::min(first_, count_ > rows_ ? count_ - rows_ : 0);
}

void ListCursor::move(std::ptrdiff_t by) {
    if (count_ == 0) return;
    const auto last = static_cast<std::ptrdiff_t>(count_) - 1;
    choose(static_cast<std::size_t>(std::clamp<std::ptrdiff_t>(static_cast<std::ptrdiff_t>(chosen_) + by, 0, last)));
}

bool ListCursor::press(const ScreenKey& key) {
    const auto page = static_cast<std::ptrdiff_t>(std::max<std::size_t>(1, rows_));
    using Kind = ScreenKey::Kind;
    switch (key.kind) {
    case Kind::up: move(-1); return true;
    case Kind::down: move(1); return true;
    case Kind::pageUp: move(-page); return true;
    case Kind::pageDown: move(page); return true;
    case Kind::home: choose(0); return true;
    case Kind::end: choose(count_ == 0 ? 0 : count_ - 1); return true;
    case Kind::wheelUp: move(-wheelStep); return true;
    case Kind::wheelDown: move(wheelStep); return true;
    case Kind::click:
        if (first_ + key.row >= end()) return false;
        choose(first_ + key.row);
        return true;
    case Kind::character:
        switch (key.character) {
        case U'k': move(-1); return true;
        case U'j': move(1); return true;
        case U'G': choose(count_ == 0 ? 0 : count_ - 1); return true;
        default: return false;
        }
    default: return false;
    }
}

}  // namespace KestrelCLI
