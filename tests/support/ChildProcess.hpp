#pragma once

#include <functional>

namespace KestrelCore {

/// Where the body of a child runs.
enum class ChildSetting {
    same,           ///< only in a process of its own: for limits and filters that can't be taken back
    unprivileged,   ///< as a user without privileges, also when the tests run as root
    mountNamespace  ///< with mounts of its own that nobody else sees and that vanish with it
};

/// Runs `body` in a forked child. What fails there (expectations, exceptions, a crash) fails the running test, and a
/// skip skips it; so does a setting that this system refuses, with the reason.
void inChild(ChildSetting setting, const std::function<void()>& body);

}  // namespace KestrelCore
