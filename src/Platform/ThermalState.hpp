#pragma once

#include <memory>
#include <optional>

namespace KestrelCore {

/// How hot the machine is. One thread at a time.
class ThermalState {
public:
    virtual ~ThermalState() = default;

    /// 0 nominal, 1 fair (fans may run), 2 serious (the system slows itself down), 3 critical. Absent when the machine
    /// has no sensor that says so, as is usual in virtual machines.
    [[nodiscard]] virtual std::optional<int> level() = 0;

    [[nodiscard]] static std::unique_ptr<ThermalState> system();
};

}  // namespace KestrelCore
