#pragma once

#include "KestrelCore/Base/CancellationToken.hpp"
#include "KestrelCore/Base/Text.hpp"
#include "KestrelCore/Exchange/ExchangeFormat.hpp"
#include "KestrelCore/Export.hpp"
#include "KestrelCore/Snapshot/ScanSnapshot.hpp"
#include "KestrelCore/Storage/GenerationReader.hpp"

#include <cstdint>
#include <optional>

namespace KestrelCore {

struct ExportOptions {
    ExchangeFormat format = ExchangeFormat::ncdu;
    ExchangePacking packing = ExchangePacking::none;
    CancellationToken cancellation{};
};

/// What was written.
struct ExportResult {
    std::int64_t records = 0;              ///< folders and files, the top counted
    std::int64_t totalAllocatedBytes = 0;  ///< of the top
};

/// Writes the folder at `path` and all below it as it was scanned. Takes no more memory for more files: folders are
/// held (some eight of a hundred items), and of hard links their identities.
///
/// Names that are not UTF-8 on the disk stand in a scan with U+FFFD for what was ill-formed, and so they are written.
/// Empty when `path` is no folder of the scan, and when it was cancelled, with part of it written. Throws
/// `KestrelError::unavailable` when the generation can't be read.
[[nodiscard]] KESTRELCORE_EXPORT std::optional<ExportResult>
exportFolder(const GenerationReader& scan, const Text& path, const ByteSink& sink, const ExportOptions& options = {});
/// The same of a snapshot in memory.
[[nodiscard]] KESTRELCORE_EXPORT std::optional<ExportResult>
exportFolder(const ScanSnapshot& scan, const Text& path, const ByteSink& sink, const ExportOptions& options = {});

}  // namespace KestrelCore
