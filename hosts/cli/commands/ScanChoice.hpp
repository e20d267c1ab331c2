#pragma once

#include "commands/CommandOptions.hpp"

#include "output/JSONOutput.hpp"
#include "output/Session.hpp"

#include "KestrelCore/Scanning/ScanOptions.hpp"
#include "KestrelCore/Snapshot/ScanEvent.hpp"

#include <optional>
#include <string>
#include <vector>

namespace KestrelCLI {

/// What a scan takes in and leaves out, as it was typed.
struct ScanChoice {
    std::vector<std::string> exclude;
    std::vector<std::string> excludeFrom;
    bool leavesCachesOut = false;
    bool crossesMounts = false;
    bool takesKernelIn = false;

    void addOptions(const CommandOptions& command);

    /// With what `settings` leave out beside it. Throws `UsageError` for a pattern that means nothing, and
    /// `KestrelCore::KestrelError` for a file of patterns that can't be read.
    [[nodiscard]] KestrelCore::ScanOptions options(const Settings& settings) const;
};

/// Adds up what scans with the same options have left out.
void addLeftOut(std::vector<KestrelCore::LeftOutItems>& all, const std::vector<KestrelCore::LeftOutItems>& items);

/// What was left out and entered, in sentences; nothing where that is nothing. Of the settings' patterns, which are
/// there for every scan, it is not said that they found nothing.
void writeChoice(const Session& session, const std::vector<KestrelCore::LeftOutItems>& leftOut,
                 const std::vector<KestrelCore::EnteredFileSystem>& entered);
/// The members `leftOut` and `enteredFileSystems`, each only where it was asked for.
void writeChoice(JSONOutput& json, const std::vector<KestrelCore::LeftOutItems>& leftOut,
                 const std::optional<std::vector<KestrelCore::EnteredFileSystem>>& entered);
/// Warns of patterns that can't match anything where it was scanned.
void warnOfPatternsElsewhere(const Session& session, const std::vector<KestrelCore::LeftOutItems>& leftOut);

}  // namespace KestrelCLI
