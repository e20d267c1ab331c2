#pragma once

#include "commands/Command.hpp"
#include "commands/ScanChoice.hpp"
#include "commands/ScanRoot.hpp"
#include "output/SizeTree.hpp"
#include "store/ScanSaving.hpp"

#include "KestrelCore/Scanning/DiskAccount.hpp"
#include "KestrelCore/Scanning/ScanOptions.hpp"
#include "KestrelCore/Snapshot/ScanEvent.hpp"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

namespace KestrelCLI {

/// What was asked of `kestrel scan`.
struct ScanCommandOptions {
    TreeLimits limits;
    ScanChoice choice;
    bool noSave = false;
    bool listsIssues = false;
    bool showsLengths = false;  ///< of contents, in place of what they take on the disk
};

/// One folder that was scanned, and what becomes of the scan.
struct FinishedScan {
    KestrelCore::ScanScope scope;
    KestrelCore::ScanCompleted result;
    std::unique_ptr<ScanSaving> saving;  ///< null where it is not kept
    std::optional<EarlierScan> earlier;  ///< of the same folder
    std::optional<KestrelCore::DiskAccount> account;
    std::optional<KestrelCore::Generation> saved;

    [[nodiscard]] const KestrelCore::ScanSnapshot& snapshot() const { return result.snapshot; }
};

/// What one command has scanned, and when it began.
struct FinishedScans {
    std::vector<FinishedScan> scans;     ///< at least one
    std::int64_t bytesCountedAgain = 0;  ///< of files with names in several of them
    std::chrono::steady_clock::time_point start;

    [[nodiscard]] bool isOne() const { return scans.size() == 1; }
    /// Each file once, whatever its names.
    [[nodiscard]] std::int64_t totalBytes() const;
    [[nodiscard]] std::size_t records() const;
    [[nodiscard]] std::size_t issues() const;
    [[nodiscard]] std::vector<KestrelCore::LeftOutItems> leftOut() const;
    [[nodiscard]] std::vector<KestrelCore::EnteredFileSystem> entered() const;
};

/// What the history keeps of how a scan with these options was made.
[[nodiscard]] KestrelCore::GenerationProvenance provenanceOf(const KestrelCore::ScanOptions& options,
                                                             const KestrelCore::ScanScope& scope);

/// What is scanned where nothing is named: the folder of the settings, else the home directory.
[[nodiscard]] std::string usualScanRoot(const Session& session);

/// The folders that are meant, each once and none that lies in another: a scan of that one has it already. Without any
/// `usualScanRoot`. Says which were links, and which are not scanned on their own. Throws as `resolveScanRoot`.
[[nodiscard]] std::vector<ScanRoot> rootsOf(const Session& session, const Operands& operands);

/// Scans all roots in turn, and begins to keep each. One of several that can't be scanned is told, and the others go
/// on; `code` then is that of a failure.
[[nodiscard]] FinishedScans scanAll(const Session& session, const ScanCommandOptions& options,
                                    const std::vector<ScanRoot>& roots, KestrelCore::ScanOptions scanOptions,
                                    ExitCode& code);

/// Waits until all is kept; failed where something could not be.
[[nodiscard]] ExitCode save(FinishedScans& all);

}  // namespace KestrelCLI
