#pragma once

#include "KestrelCore/Export.hpp"

#include <functional>
#include <memory>

namespace KestrelCore {

/// A flag that one side sets and the other polls. Copies share the flag. All calls from any thread. What is cancelled
/// ends at its next look at the token, in its own time; nobody is made to wait for that here.
///
///     const CancellationToken token;
///     std::thread search{[&snapshot, &query, token] { found = snapshot.search(query, 100, token); }};
///     token.cancel();  // the search gives up and returns nothing
class KESTRELCORE_EXPORT CancellationToken {
public:
    CancellationToken();

    [[nodiscard]] bool isCancelled() const noexcept;
    /// Sets the flag for good and runs the registered callbacks on this thread, once.
    void cancel() const;

    /// Keeps a callback registered while it lives. Its destructor returns only when the callback is not running, so
    /// whatever the callback uses may be destroyed right after it.
    class KESTRELCORE_EXPORT Registration {
    public:
        Registration() = default;
        Registration(Registration&&) noexcept = default;
        Registration& operator=(Registration&& other) noexcept;
        ~Registration();

    private:
        friend class CancellationToken;
        struct Entry;
        std::shared_ptr<Entry> entry_;
    };
    /// Runs `callback` when the token is cancelled, at once on this thread if it already is. The callback must not
    /// block, must not throw and must not destroy its own registration.
    [[nodiscard]] Registration onCancel(std::function<void()> callback) const;

private:
    struct State;
    std::shared_ptr<State> state_;
};

}  // namespace KestrelCore
