#pragma once

#include "Platform/macOS/Frameworks/CoreFoundation.hpp"

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

// What is used of the registry of devices in IOKit, declared as its documentation has it, and found when the program
// runs.

namespace KestrelCore::IOKit {

/// One entry of the registry, or none.
class Entry {
public:
    Entry() = default;
    explicit Entry(std::uint32_t object) : object_{object} {}
    Entry(Entry&& other) noexcept : object_{std::exchange(other.object_, 0)} {}
    Entry& operator=(Entry&& other) noexcept {
        std::swap(object_, other.object_);
        return *this;
    }
    ~Entry();

    [[nodiscard]] explicit operator bool() const { return object_ != 0; }
    /// Whether it is of that class or of one made from it.
    [[nodiscard]] bool isOf(const char* className) const;
    /// The one that it hangs on; none at the top.
    [[nodiscard]] Entry parent() const;

    enum class Place : std::uint32_t { here = 0, below = 1, above = 3 };
    /// The property under that name, here or at the first entry on the way that has it; null when there is none.
    [[nodiscard]] CoreFoundation::Owned property(const char* name, Place place) const;

private:
    std::uint32_t object_ = 0;
};

/// All of that class, in the registry's order. Empty when the system does not tell.
[[nodiscard]] std::vector<Entry> entriesOf(const char* className);
/// The disk, or the part of one, that is called so below /dev, such as "disk3s5"; none when there is none.
[[nodiscard]] Entry diskCalled(const char* name);

}  // namespace KestrelCore::IOKit
