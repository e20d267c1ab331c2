#pragma once

#include "KestrelCore/Reclaim/ReclaimRule.hpp"

#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>

namespace KestrelCore {

/// Why a text is no rule.
class RuleError : public std::runtime_error {
public:
    RuleError(std::int64_t line, const std::string& message) : std::runtime_error{message}, line_{line} {}

    /// Counted from 1; 0 where no line is to blame.
    [[nodiscard]] std::int64_t line() const { return line_; }

private:
    std::int64_t line_;
};

/// The rule that the text of a file holds (docs/reclaim.md has the form). `identifier` is what the file's name calls
/// it. Throws `RuleError` for everything else.
[[nodiscard]] ReclaimRule readRule(std::string_view text, std::string_view identifier);

/// The anchors that a place may begin with, but "/".
enum class PlaceAnchor : std::uint8_t { system, home, cache, configuration, data, state, library, trash };

/// A place of a rule, taken apart.
struct PlaceText {
    PlaceAnchor anchor = PlaceAnchor::system;
    std::string_view rest;  ///< what follows the anchor and its "/"; may be empty
};
/// `place` is one of a rule that was read.
[[nodiscard]] PlaceText placeText(std::string_view place);

}  // namespace KestrelCore
