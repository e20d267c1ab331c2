#pragma once

#include <bit>
#include <concepts>
#include <cstdint>
#include <string>
#include <string_view>

namespace KestrelCore {

/// Appends values as ClickHouse's RowBinary has them: numbers little endian, texts behind their length.
class RowBinary {
public:
    explicit RowBinary(std::string& out) : out_{out} {}

    void text(std::string_view text) {
        std::uint64_t length = text.size();
        for (; length > 127; length >>= 7U) out_ += static_cast<char>((length & 127U) | 128U);
        out_ += static_cast<char>(length);
        out_ += text;
    }
    template <std::integral Number>
    void number(Number number) {
        char bytes[sizeof number];
        auto rest = static_cast<std::make_unsigned_t<Number>>(number);
        for (char& byte : bytes) {
            byte = static_cast<char>(rest & 0xFFU);
            if constexpr (sizeof number > 1) rest >>= 8U;
        }
        out_.append(bytes, sizeof bytes);
    }
    void number(double number) { this->number(std::bit_cast<std::uint64_t>(number)); }

private:
    std::string& out_;
};

}  // namespace KestrelCore
