#pragma once

#include <memory>
#include <mutex>

namespace KestrelCore {

/// A value that the first to ask for it makes, and all later ones share. Any number of threads may ask at once; they
/// wait while one makes it. `Value` may be an incomplete type where the `Lazy` itself is a member.
template <typename Value>
class Lazy {
public:
    /// The value; `make` gives it as a shared pointer when it is not there yet. What `make` throws reaches the caller,
    /// and the next one tries again.
    template <typename Make>
    const Value& get(const Make& make) const {
        std::call_once(once_, [&] { value_ = make(); });
        return *value_;
    }

private:
    mutable std::once_flag once_;
    mutable std::shared_ptr<const Value> value_;  ///< written once, under `once_`
};

}  // namespace KestrelCore
