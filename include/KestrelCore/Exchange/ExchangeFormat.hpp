#pragma once

#include "KestrelCore/Export.hpp"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>

namespace KestrelCore {

/// In which form a scan is handed on.
enum class ExchangeFormat : std::uint8_t {
    ncdu,   ///< ncdu's JSON export, format 1.2: one nested array, which many programs read
    lines,  ///< our own: JSON, one record a line
    csv,    ///< a table for spreadsheets, RFC 4180
};

/// How what is written is compressed.
enum class ExchangePacking : std::uint8_t { none, gzip, zstd };

/// Gets the bytes piece by piece, in order; what it throws ends the export and comes out of it.
using ByteSink = std::function<void(std::string_view)>;

/// Fills `bytes` from the beginning and gives how many were read: at least one, and 0 at the end. What it throws ends
/// the import and comes out of it.
using ByteSource = std::function<std::size_t(std::span<char> bytes)>;

/// A file is no scan that could be taken over: nothing was. The message is a finished sentence, with the place.
class KESTRELCORE_EXPORT ImportError : public std::runtime_error {
public:
    ImportError(std::uint64_t offset, const std::string& what);
    /// Where in the text, counted in bytes from its beginning; of a compressed file, of what it expands to, unless the
    /// compression itself is broken.
    [[nodiscard]] std::uint64_t offset() const noexcept { return offset_; }

private:
    std::uint64_t offset_;
};

}  // namespace KestrelCore
