#pragma once

#include "KestrelCore/Base/Text.hpp"

#include <optional>

namespace KestrelCore {

/// The sentences in which a system, a program of it or a place in its settings is named: finished, for a person. One
/// set of words for each system; rules and risk levels are the same under all of them.
struct Vocabulary {
    Text neverRemoved;  ///< a disk, a folder that the system stands on, a home directory is to be removed
    Text managed;       ///< so is what the system keeps for itself
    Text symbolicLink;  ///< a link is on the way to an item that is to be removed
    /// What follows "Kestrel cannot read PATH. " where the root of a scan may not be read, and where it is not there.
    Text unreadableRoot;
    Text missingRoot;
    Text refusedApplication;  ///< the system refuses to remove an application
    Text protectedProcess;    ///< Kestrel itself or one of the system's own processes is to quit
    /// What the system calls the permission to read the whole disk; absent where there is no such thing to grant.
    std::optional<Text> wholeDiskPermission;
};

/// The words of macOS, on every system: the reference that other words are made after.
[[nodiscard]] const Vocabulary& macOSVocabulary();

/// The words of the system that this library was built for.
[[nodiscard]] const Vocabulary& systemVocabulary();

}  // namespace KestrelCore
