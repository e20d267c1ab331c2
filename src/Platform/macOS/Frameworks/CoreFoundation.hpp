#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

// What is used of Core Foundation, declared as its documentation has it, and found when the program runs.

namespace KestrelCore::CoreFoundation {

/// Any object of Core Foundation. The framework's own types differ in name only.
using Object = const void*;

/// Whether the framework is there. Without it every function below gives nothing.
[[nodiscard]] bool isThere();

struct Release {
    void operator()(Object object) const;
};
/// An object that the caller has to release: what functions with Create or Copy in their names give.
using Owned = std::unique_ptr<const void, Release>;

/// The number of elements of an array; 0 for what is none.
[[nodiscard]] std::size_t arrayCount(Object array);
/// Kept by the array. Null when the array has no such element.
[[nodiscard]] Object arrayElement(Object array, std::size_t index);

[[nodiscard]] bool isDictionary(Object object);
/// The value under a key that is a string, kept by the dictionary. Null where there is none, and for what is no
/// dictionary.
[[nodiscard]] Object dictionaryValue(Object dictionary, const char* key);

/// An array of strings: the languages that the user has chosen, the preferred one first. Null when the system gives
/// none.
[[nodiscard]] Owned preferredLanguages();

/// The value of a number as a double, and of a string as UTF-8; absent for other objects and for null.
[[nodiscard]] std::optional<double> number(Object object);
[[nodiscard]] std::optional<std::string> string(Object object);

}  // namespace KestrelCore::CoreFoundation
