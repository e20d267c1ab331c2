#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace KestrelCore {

/// A pattern for one name: see `ExcludePattern` for what its characters mean. Made once and asked for every name of a
/// disk, from several threads. Asking takes at most the product of both lengths, whatever they hold, and a name that is
/// shorter than anything the pattern matches no time at all.
class NamePattern {
public:
    /// Any bytes; a "[" that nothing closes, and a backslash at the end, stand for themselves.
    explicit NamePattern(std::string_view text);

    [[nodiscard]] bool matches(std::string_view name) const noexcept;
    /// What all names that match end with; empty where they don't have the last byte in common.
    [[nodiscard]] std::optional<char> lastByte() const noexcept;
    /// How many characters and groups it has, a run of "*" being one.
    [[nodiscard]] std::size_t length() const noexcept { return tokens_.size(); }

private:
    struct Token {
        enum class Kind : std::uint8_t { byte, anyCharacter, anyRun, set };
        Kind kind = Kind::byte;
        char byte = 0;
        std::uint32_t set = 0;  ///< in `sets_`
    };
    struct CharacterSet {
        std::vector<std::pair<char32_t, char32_t>> ranges;  ///< both ends belong to it
        bool isNegated = false;

        [[nodiscard]] bool has(char32_t character) const noexcept;
    };
    enum class Form : std::uint8_t { literal, beginning, end, general };

    /// Reads the set whose "[" is at `offset`; false, and nothing changed, where nothing closes it.
    bool readSet(std::string_view text, std::size_t& offset);
    [[nodiscard]] bool matchesOne(const Token& token, std::string_view name, std::size_t& offset) const noexcept;
    [[nodiscard]] bool matchesGenerally(std::string_view name) const noexcept;

    std::vector<Token> tokens_;
    std::vector<CharacterSet> sets_;
    std::string literal_;  ///< the bytes of the first three forms
    std::size_t leastLength_ = 0;
    Form form_ = Form::general;
};

}  // namespace KestrelCore
