#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <sys/sysctl.h>
#include <vector>

namespace KestrelCore::SystemControl {

/// The value of `sysctl` under that name; absent when the system does not know it, or has it in another size.
template <typename Value>
[[nodiscard]] std::optional<Value> valueNamed(const char* name) {
    Value value{};
    std::size_t size = sizeof value;
    if (sysctlbyname(name, &value, &size, nullptr, 0) != 0 || size != sizeof value) return std::nullopt;
    return value;
}

/// What `sysctl` says under that list of numbers, however long it is; `buffer` keeps its memory between calls and holds
/// the bytes. Absent when the system does not tell.
[[nodiscard]] std::optional<std::string_view> bytes(std::vector<int> name, std::string& buffer);

}  // namespace KestrelCore::SystemControl
