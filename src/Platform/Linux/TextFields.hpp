#pragma once

#include <charconv>
#include <concepts>
#include <optional>
#include <string_view>

namespace KestrelCore {

/// Walks over a system text from the left; what was read is gone from it. Copies nothing: pieces are views into the
/// text. Never fails: behind the end there are only empty pieces and absent numbers, so a text that is cut off needs no
/// care.
class TextFields {
public:
    explicit TextFields(std::string_view text) : rest_{text} {}

    [[nodiscard]] bool isAtEnd() const { return rest_.empty(); }

    /// The text up to the next newline (or the end), without it.
    std::string_view line() { return upTo('\n'); }

    /// The text up to the next `separator` (or the end), which is dropped.
    std::string_view upTo(char separator) {
        const std::size_t length = rest_.find(separator);
        const std::string_view piece = rest_.substr(0, length);
        rest_.remove_prefix(length == std::string_view::npos ? rest_.size() : length + 1);
        return piece;
    }

    /// The next word between blanks; empty at the end.
    std::string_view word() {
        const std::size_t begin = rest_.find_first_not_of(" \t\n");
        rest_.remove_prefix(begin == std::string_view::npos ? rest_.size() : begin);
        const std::string_view piece = rest_.substr(0, rest_.find_first_of(" \t\n"));
        rest_.remove_prefix(piece.size());
        return piece;
    }

    void skipWords(int count) {
        for (int skipped = 0; skipped < count; ++skipped) word();
    }

    /// The next word as a number; absent when it is none or does not fit.
    template <std::integral Integer>
    std::optional<Integer> number() {
        return wholeNumber<Integer>(word());
    }

    /// All of `text` as a decimal number, without blanks around it.
    template <std::integral Integer>
    [[nodiscard]] static std::optional<Integer> wholeNumber(std::string_view text) {
        Integer value{};
        const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
        if (error != std::errc{} || end != text.data() + text.size()) return std::nullopt;
        return value;
    }

private:
    std::string_view rest_;
};

}  // namespace KestrelCore
