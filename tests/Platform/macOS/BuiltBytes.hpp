#pragma once

#include <cstddef>
#include <cstring>
#include <string>
#include <string_view>

namespace KestrelCore {

/// A record as a kernel leaves it: numbers and texts put at their offsets, zeros elsewhere.
class BuiltBytes {
public:
    explicit BuiltBytes(std::size_t size) : bytes_(size, '\0') {}

    template <typename Number>
    BuiltBytes& put(std::size_t offset, Number value) {
        std::memcpy(bytes_.data() + offset, &value, sizeof value);
        return *this;
    }
    BuiltBytes& putText(std::size_t offset, std::string_view text) {
        bytes_.replace(offset, text.size(), text);
        return *this;
    }

    [[nodiscard]] const std::string& string() const { return bytes_; }
    [[nodiscard]] std::string_view view() const { return bytes_; }

private:
    std::string bytes_;
};

}  // namespace KestrelCore
