#pragma once

#include "output/Terminal.hpp"

#include "KestrelCore/Model/RiskLevel.hpp"

namespace KestrelCLI {

/// How the name of a risk is shown.
[[nodiscard]] constexpr Style styleOf(KestrelCore::RiskLevel level) {
    switch (level) {
    case KestrelCore::RiskLevel::normal: break;
    case KestrelCore::RiskLevel::caution: return Style::warning;
    case KestrelCore::RiskLevel::high: return Style::bad;
    case KestrelCore::RiskLevel::blocked: return Style::match;
    }
    return Style::plain;
}

}  // namespace KestrelCLI
