#pragma once

#include "Deletion/SafetyRules.hpp"
#include "KestrelCore/Base/EventStream.hpp"
#include "KestrelCore/Model/ScanScope.hpp"
#include "KestrelCore/Platform/FileManager.hpp"
#include "KestrelCore/Scanning/ScanOptions.hpp"
#include "KestrelCore/Snapshot/ScanEvent.hpp"
#include "Platform/Traversal.hpp"

#include <memory>

namespace KestrelCore {

/// What a scan needs from outside: tests bring their own.
struct ScanEnvironment {
    std::shared_ptr<const FileManager> fileManager;
    TraversalFactory openTraversal;
    std::shared_ptr<const SafetyRules> rules;

    /// The file system, the walk and the rules of this process.
    [[nodiscard]] static ScanEnvironment ofThisSystem();
};

/// Runs one scan to its end on the calling thread, sending its events to `events`. Throws what ends the stream with an
/// error; returns early when the stream was cancelled, and with less than all where the options' token was.
void runScan(const ScanScope& scope, const ScanEnvironment& environment,
             const EventStream<ScanEvent>::Continuation& events, const ScanOptions& options = {});

}  // namespace KestrelCore
