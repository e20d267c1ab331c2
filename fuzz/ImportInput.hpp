#pragma once

#include "Base/FatalError.hpp"
#include "KestrelCore/Exchange/SnapshotExport.hpp"
#include "KestrelCore/Exchange/SnapshotImport.hpp"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace KestrelCore::Fuzzing {

/// A source that gives the bytes of a text, at most `pieceSize` at once.
inline ByteSource sourceOf(std::string_view text, std::size_t pieceSize) {
    return [text, pieceSize](std::span<char> bytes) mutable {
        const std::size_t count = std::min({bytes.size(), text.size(), pieceSize});
        if (count > 0) std::memcpy(bytes.data(), text.data(), count);
        text.remove_prefix(count);
        return count;
    };
}

/// What is read from a text, written again in our own form; why it was refused where it was.
struct ImportOutcome {
    std::string lines;
    std::string refusal;

    bool operator==(const ImportOutcome&) const = default;
};
inline std::string writtenAs(const ScanSnapshot& scan, ExchangeFormat format) {
    std::string text;
    ExportOptions options;
    options.format = format;
    const auto result = exportFolder(
        scan, scan.scope().root.path(), [&](std::string_view bytes) { text += bytes; }, options);
    if (!result) fatalError("fuzz/Import", "What was imported has no top");
    return text;
}
inline std::optional<ImportedScan> imported(std::string_view text, std::size_t pieceSize, std::string& refusal) {
    try {
        return importScan(sourceOf(text, pieceSize), {});
    } catch (const ImportError& error) {
        refusal = error.what();
        return std::nullopt;
    }
}
inline ImportOutcome outcomeOf(std::string_view text, std::size_t pieceSize) {
    ImportOutcome outcome;
    if (const auto scan = imported(text, pieceSize, outcome.refusal))
        outcome.lines = writtenAs(scan->snapshot, ExchangeFormat::lines);
    return outcome;
}

/// A file comes from anywhere. Whatever it holds, reading it ends with a scan or an `ImportError`; in whatever pieces
/// it comes, the result is the same; what was read contradicts itself nowhere, has no identity, and comes back equal
/// from our own form, and with the same total from the one of ncdu.
inline void exerciseImport(std::string_view text) {
    const auto expect = [](bool holds, const char* promise) {
        if (!holds) fatalError("fuzz/Import", promise);
    };
    std::string refusal;
    const auto scan = imported(text, text.size() + 1, refusal);
    const ImportOutcome whole = outcomeOf(text, text.size() + 1);
    expect(whole.refusal == refusal, "Reading again gives something else");
    // How far a compressed text was read when it is found damaged depends on the pieces.
    const bool isPacked = text.starts_with("\x1F\x8B") || text.starts_with("\x28\xB5\x2F\xFD");
    for (const std::size_t pieceSize : {std::size_t{1}, std::size_t{61}}) {
        const ImportOutcome inPieces = outcomeOf(text, pieceSize);
        expect(inPieces.lines == whole.lines, "Pieces change what is read");
        expect(isPacked || inPieces.refusal == whole.refusal, "Pieces change why it is refused");
        expect(inPieces.refusal.empty() == whole.refusal.empty(), "Pieces change whether it is refused");
    }
    if (!scan) return;
    expect(scan->snapshot.isConsistent(), "What was imported contradicts itself");
    for (const FileRecord& record : scan->snapshot.records()) {
        expect(!record.identity(), "What was imported has an identity");
    }
    const ImportOutcome again = outcomeOf(whole.lines, 4096);
    expect(again.lines == whole.lines, "Our own form reads differently");
    std::string refusalOfNcdu;
    const auto ncdu = imported(writtenAs(scan->snapshot, ExchangeFormat::ncdu), 4096, refusalOfNcdu);
    expect(ncdu && ncdu->snapshot.totalAllocatedBytes() == scan->snapshot.totalAllocatedBytes(),
           "The form of ncdu has another total");
    (void)writtenAs(scan->snapshot, ExchangeFormat::csv);
}

}  // namespace KestrelCore::Fuzzing
