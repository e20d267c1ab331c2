#pragma once

#include "KestrelCore/Exchange/ExchangeFormat.hpp"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string_view>

namespace KestrelCore {

/// Bytes on their way out, compressed as asked. One thread.
class PackingSink {
public:
    virtual ~PackingSink() = default;
    virtual void write(std::string_view bytes) = 0;
    /// Writes what is left; nothing may come after it.
    virtual void finish() = 0;

    /// `sink` must outlive it.
    [[nodiscard]] static std::unique_ptr<PackingSink> make(ExchangePacking packing, const ByteSink& sink);
};

/// Bytes on their way in, expanded where their first ones say that they are gzip or zstd. What expands beyond all
/// measure is refused, so that no short input takes long or much. One thread.
class UnpackingSource {
public:
    /// Without limit up to here; then a byte of input may become `mostGrowth`, some ten times what exports have.
    static constexpr std::uint64_t freeBytes = std::uint64_t{64} << 20;
    static constexpr std::uint64_t mostGrowth = 64;

    virtual ~UnpackingSource() = default;
    /// At least one byte; 0 at the end. Throws `ImportError` at a byte of the input that can't be expanded.
    [[nodiscard]] virtual std::size_t read(std::span<char> bytes) = 0;

    [[nodiscard]] static std::unique_ptr<UnpackingSource> make(ByteSource source);
};

}  // namespace KestrelCore
