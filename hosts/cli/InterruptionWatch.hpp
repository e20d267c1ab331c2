#pragma once

#include "KestrelCore/Base/CancellationToken.hpp"

#include <thread>

namespace KestrelCLI {

/// Hands Ctrl-C on to a call of the library that takes a token. A signal handler can't cancel one, so a thread looks at
/// the flag while this lives.
class InterruptionWatch {
public:
    InterruptionWatch();

    /// Cancelled soon after the user asked to stop.
    [[nodiscard]] const KestrelCore::CancellationToken& token() const { return token_; }

private:
    KestrelCore::CancellationToken token_;
    std::jthread thread_;  ///< ends with this object, at once
};

}  // namespace KestrelCLI
