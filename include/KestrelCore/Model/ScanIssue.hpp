#pragma once

#include "KestrelCore/Base/Hashing.hpp"
#include "KestrelCore/Base/Text.hpp"

#include <functional>

namespace KestrelCore {

/// One problem met during a scan. The scan went on: the item, or what is in it, is missing from the snapshot or is
/// there in part.
struct ScanIssue {
    Text path;     ///< the item concerned
    Text message;  ///< shown to the user

    bool operator==(const ScanIssue&) const = default;
};

}  // namespace KestrelCore

template <>
struct std::hash<KestrelCore::ScanIssue> {
    std::size_t operator()(const KestrelCore::ScanIssue& issue) const {
        return KestrelCore::Internal::hashOf(issue.path, issue.message);
    }
};
