#pragma once

#include "KestrelCore/JSON/CodingErrors.hpp"
#include "KestrelCore/Snapshot/ScanSnapshot.hpp"

#include <cstddef>
#include <functional>
#include <memory>
#include <string_view>

// The form, without the line breaks:
//
//     {"id":"UUID",
//      "scope":{"root":"file:\/\/\/home\/me\/","displayName":"me","volumeIdentifier":"\/home\/me"},
//      "startedAt":785000000.25,"completedAt":785000012,          seconds since 2001
//      "records":[RECORD, … ],
//      "issues":[{"path":"…","message":"…"}, … ]}
//
//     RECORD  {"id":"UUID","identity":{"device":1,"inode":2},"parentPath":"\/a","path":"\/a\/b","name":"b","kind":0,
//              "logicalBytes":1,"allocatedBytes":4096,"aggregateAllocatedBytes":4096,"modifiedAt":780000000,
//              "fileExtension":"","isHidden":false,"isCloudPlaceholder":false,"isHardLinkDuplicate":false,"risk":0}
//
// "identity", "parentPath" and "modifiedAt" are left out where there is none. Writing keeps to this order and spelling;
// reading takes any.

namespace KestrelCore {

/// Writes the snapshot's JSON text in pieces of about a megabyte through one reused buffer; each piece is valid during
/// its call. Throws `EncodingError` for a date that is not finite; then the pieces so far are to be thrown away.
void encodeSnapshot(const ScanSnapshot& snapshot, const std::function<void(std::string_view piece)>& sink);

/// How many bytes `encodeSnapshot` writes, without writing them; throws what that throws. Two threads.
[[nodiscard]] std::size_t encodedLength(const ScanSnapshot& snapshot);

/// Reads a snapshot's JSON text in pieces of any size. Strict about malformed text; unknown keys are skipped, of equal
/// keys the first counts. Memory is bounded by the records read plus one window of text. One thread.
class SnapshotDecoder {
public:
    SnapshotDecoder();
    ~SnapshotDecoder();
    SnapshotDecoder(const SnapshotDecoder&) = delete;
    SnapshotDecoder& operator=(const SnapshotDecoder&) = delete;

    /// The next piece of the text. Throws `DecodingError` for malformed text.
    void feed(std::string_view piece);
    /// The snapshot, when the text is complete. Throws `DecodingError`.
    [[nodiscard]] ScanSnapshot finish();

private:
    class Implementation;
    std::unique_ptr<Implementation> implementation_;
};

}  // namespace KestrelCore
