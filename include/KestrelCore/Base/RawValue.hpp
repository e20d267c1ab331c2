#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace KestrelCore {

// Enumerations that are stored, or told to other programs, have raw values: whole numbers or texts, as their headers
// say. `rawValue(value)` gives one, and these read one: `fromRawValue<FileKind>(1)`,
// `fromRawValue<ThermalLevel>("fair")`. Empty for any other number or text; texts are compared byte by byte. Any
// thread; nothing throws. An enumeration without raw values of that kind does not compile.

template <typename Enumeration>
[[nodiscard]] std::optional<Enumeration> fromRawValue(std::int64_t rawValue) = delete;
template <typename Enumeration>
[[nodiscard]] std::optional<Enumeration> fromRawValue(std::string_view rawValue) = delete;

}  // namespace KestrelCore
