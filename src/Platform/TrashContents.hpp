#pragma once

#include "KestrelCore/Base/CancellationToken.hpp"
#include "KestrelCore/Base/Date.hpp"
#include "KestrelCore/Base/Text.hpp"
#include "KestrelCore/Platform/FileManager.hpp"

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace KestrelCore {

/// One thing in a trash, whoever put it there.
struct TrashContent {
    std::size_t trash = 0;             ///< index into the trashes
    std::string name;                  ///< of the item in the trash; raw
    std::optional<ExpectedItem> item;  ///< what it is; absent where the trash has an entry and no item
    /// The trash says where it was and when it went. That may not be readable; on macOS only Finder can read it.
    bool hasEntry = false;
    std::optional<std::string> original;  ///< where it was: raw, absolute; absent where no entry tells
    /// When it went: as the entry has it, or the file system, else when the item, or the entry without one, was last
    /// changed.
    std::optional<Date> trashedAt;
};

/// The trashes of this user on every volume, held open. What belongs to anybody else, or may be written by others, or
/// is reached through a link, is none of them. Blocks on the disk; for one thread.
class TrashContents {
public:
    /// Opens all there are. Pseudo file systems, and volumes that are mounted only when they are asked for, are left
    /// out.
    TrashContents();
    ~TrashContents();
    TrashContents(const TrashContents&) = delete;
    TrashContents& operator=(const TrashContents&) = delete;

    /// The folder of each trash, raw and absolute.
    [[nodiscard]] const std::vector<std::string>& paths() const;
    /// Where the content is: the item, or of an entry without an item the entry.
    [[nodiscard]] std::string place(const TrashContent& content) const;

    /// What is in all of them, in the order of names within each; nothing in items is looked at. An entry without an
    /// item is left out within its first hour: a program may be about to move the item there. Folders that can't be
    /// read to their end count in `unread`, and so do trashes that the system lets nobody look into.
    [[nodiscard]] std::vector<TrashContent> list(std::size_t& unread) const;

    /// Removes one thing for good: the item as `FileManager::removeItem` would, then its entry. Only what lies right in
    /// a trash and still is what was listed; of an entry without an item only one that no program may be about to put
    /// an item to. Throws `PlatformError`; as long as something of the item is left, its entry is, too. Returns a
    /// sentence about what had to stay; mostly there is none.
    [[nodiscard]] std::optional<Text> remove(const TrashContent& content, const CancellationToken& cancellation);
    /// Takes away what removals from one trash had in common, once there are no more of them for now; the next one
    /// makes it anew. Returns a sentence about what had to stay; mostly there is none.
    [[nodiscard]] std::optional<Text> settle(std::size_t trash);
    /// Does once for all removals what would take long for each: the notes of folders' sizes. Settles all.
    void tidy();

private:
    struct State;
    std::unique_ptr<State> state_;
};

}  // namespace KestrelCore
