#pragma once

#include "KestrelCore/Base/CancellationToken.hpp"

#include <condition_variable>
#include <mutex>
#include <thread>

namespace KestrelCLI {

/// Hands Ctrl-C on to a call of the library that takes a token. A signal handler can't cancel one, so a thread looks at
/// the flag while this lives; where the system has no thread to give, the call just runs to its end.
class InterruptionWatch {
public:
    InterruptionWatch();
    ~InterruptionWatch();  ///< ends the thread at once
    InterruptionWatch(const InterruptionWatch&) = delete;
    InterruptionWatch& operator=(const InterruptionWatch&) = delete;

    /// Cancelled soon after the user asked to stop.
    [[nodiscard]] const KestrelCore::CancellationToken& token() const { return token_; }

private:
    void watch();

    KestrelCore::CancellationToken token_;
    std::mutex mutex_;
    std::condition_variable ended_;
    bool isEnded_ = false;
    std::thread thread_;
};

}  // namespace KestrelCLI
