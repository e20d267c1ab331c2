#pragma once

#include <mach/mach.h>

namespace KestrelCore {

/// The right to ask the host about itself: each call of `mach_host_self` makes one more, which somebody has to give
/// back.
class HostPort {
public:
    HostPort() : port_{mach_host_self()} {}
    ~HostPort() { mach_port_deallocate(mach_task_self(), port_); }
    HostPort(const HostPort&) = delete;
    HostPort& operator=(const HostPort&) = delete;

    [[nodiscard]] mach_port_t get() const { return port_; }

private:
    mach_port_t port_;
};

}  // namespace KestrelCore
