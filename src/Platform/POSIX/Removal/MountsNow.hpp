#pragma once

#include "KestrelCore/Base/Text.hpp"

#include <memory>
#include <optional>
#include <string_view>

namespace KestrelCore {

/// What is mounted where, for who asks again and again: each answer is of its own moment. For one thread.
class MountsNow {
public:
    MountsNow();
    MountsNow(const MountsNow&) = delete;
    MountsNow& operator=(const MountsNow&) = delete;
    ~MountsNow();

    /// Whether something is mounted on `place` (raw, absolute, free of links) or below it; empty when the system does
    /// not tell.
    [[nodiscard]] std::optional<bool> isAnyAtOrBelow(std::string_view place);
    /// The sentence for a system that does not tell.
    [[nodiscard]] static Text untoldSentence();

private:
    struct State;
    std::unique_ptr<State> state_;
};

}  // namespace KestrelCore
