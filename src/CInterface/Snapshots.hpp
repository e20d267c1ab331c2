#pragma once

#include "CInterface/Boundary.hpp"

#include "KestrelCore/Base/Text.hpp"
#include "KestrelCore/Snapshot/ScanSnapshot.hpp"
#include "KestrelCore/Storage/Generation.hpp"

#include <vector>

/// A snapshot with what a history wants to know of how it was made.
struct kestrel_snapshot {
    kestrel_snapshot(KestrelCore::ScanSnapshot scanned, KestrelCore::GenerationProvenance how);
    kestrel_snapshot(const kestrel_snapshot&) = delete;
    kestrel_snapshot& operator=(const kestrel_snapshot&) = delete;

    const KestrelCore::ScanSnapshot contents;
    const KestrelCore::GenerationProvenance provenance;
    const KestrelCore::Text root;
    kestrel_snapshot_info info;
    std::vector<kestrel_issue> issues;
};
