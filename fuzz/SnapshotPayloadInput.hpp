#pragma once

#include "Base/FatalError.hpp"
#include "KestrelCore/JSON/CodingErrors.hpp"
#include "KestrelCore/Snapshot/ScanSnapshot.hpp"
#include "Snapshot/Coding/SnapshotCoding.hpp"

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace KestrelCore::Fuzzing {

/// The text that the payload's snapshot is written as; empty when it is refused. Read in pieces of `pieceSize` bytes.
inline std::optional<std::string> rewrittenPayload(std::string_view text, std::size_t pieceSize) {
    try {
        SnapshotDecoder decoder;
        for (std::size_t at = 0; at < text.size(); at += pieceSize) decoder.feed(text.substr(at, pieceSize));
        return decoder.finish().encodedJSON();
    } catch (const DecodingError&) {
        return std::nullopt;
    }
}

/// A payload comes from a file that anybody may have written. Whatever it holds, reading it ends with a snapshot or a
/// `DecodingError`; in whatever pieces it comes, the result is the same; and a snapshot that was read can be written
/// and read again without a change.
inline void exerciseSnapshotPayload(std::string_view text) {
    const auto expect = [](bool holds, const char* promise) {
        if (!holds) fatalError("fuzz/SnapshotPayload", promise);
    };
    const auto whole = rewrittenPayload(text, text.size() + 1);
    expect(rewrittenPayload(text, 1) == whole, "Pieces of one byte change the result");
    expect(rewrittenPayload(text, 61) == whole, "Pieces of 61 bytes change the result");
    if (whole) expect(rewrittenPayload(*whole, whole->size()) == whole, "What was written reads differently");
}

}  // namespace KestrelCore::Fuzzing
