#pragma once

#include "KestrelCore/Base/CancellationToken.hpp"
#include "KestrelCore/Base/Text.hpp"
#include "KestrelCore/Base/URL.hpp"
#include "KestrelCore/Platform/FileManager.hpp"
#include "Platform/POSIX/Removal/ItemLocation.hpp"
#include "Platform/POSIX/Removal/RemovalFolder.hpp"

#include <optional>

namespace KestrelCore {

/// Removes an item for good, a folder with everything in it. Works on descriptors from the root on: never through a
/// link, never across a mount, and only an item that is the expected one when it is already out of everybody's way.
/// Throws `PlatformError`, also when it is cancelled; what is left then has its old place again. Returns a sentence
/// about what had to stay beside the item's place although the item is gone; mostly there is none.
[[nodiscard]] std::optional<Text> removeSafely(const URL& url, const std::optional<ExpectedItem>& expected,
                                               const CancellationToken& cancellation = {});

/// The same for an item that was reached already, also one in a trash. Of the location the path, the name and the
/// folder are needed. Items of one folder that go one after the other may share a batch, which is made for that folder;
/// whoever has it takes away what they shared.
[[nodiscard]] std::optional<Text> removeAt(const ItemLocation& item, const ExpectedItem& expected, RemovalBatch& batch,
                                           const CancellationToken& cancellation);

}  // namespace KestrelCore
