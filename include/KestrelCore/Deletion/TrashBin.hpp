#pragma once

#include "KestrelCore/Base/CancellationToken.hpp"
#include "KestrelCore/Base/Date.hpp"
#include "KestrelCore/Base/Text.hpp"
#include "KestrelCore/Deletion/DeletionCoordinator.hpp"
#include "KestrelCore/Deletion/ProtectedPlace.hpp"
#include "KestrelCore/Export.hpp"
#include "KestrelCore/Platform/FileManager.hpp"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace KestrelCore {

/// What a trash has of one item.
enum class TrashedItemState : std::uint8_t {
    whole,
    withoutEntry,  ///< nothing says where it was: a program was interrupted, or put it there by hand
    entryAlone     ///< something else took the item away
};

/// One item in a trash of this user, whichever program put it there.
struct TrashedItem {
    std::string place;                 ///< the item in the trash, or of an entry alone the entry; raw, absolute
    std::optional<Text> path;          ///< where it was; absent where the trash does not tell
    std::optional<Date> trashedAt;     ///< to the second; where the trash does not tell, when it last changed there
    std::optional<ExpectedItem> item;  ///< what it is; absent of an entry alone
    TrashedItemState state = TrashedItemState::whole;
    std::size_t trash = 0;  ///< index into the trashes
    std::string name;       ///< in the trash, raw
};

/// The trashes of this user on all volumes, and the one way to empty them: what removes other items refuses a trash and
/// everything in it. Only what lies right in a trash, as it was listed, can be removed. For one thread; blocks on the
/// disk. A trash that is made later is not seen.
class KESTRELCORE_EXPORT TrashBin {
public:
    /// `protectedPlaces` are the host's own, as for `DeletionCoordinator`.
    explicit TrashBin(const std::vector<ProtectedPlace>& protectedPlaces = {});
    ~TrashBin();
    TrashBin(const TrashBin&) = delete;
    TrashBin& operator=(const TrashBin&) = delete;

    /// The folder of each trash: raw, absolute. Empty where there is none, or none that is this user's alone.
    [[nodiscard]] const std::vector<std::string>& trashes() const;

    struct Listing {
        std::vector<TrashedItem> items;  ///< trash by trash, by name
        std::size_t unread = 0;          ///< folders and items that could not be looked at
    };
    [[nodiscard]] Listing items() const;

    /// Removes items for good, in the given order, each with its entry, which goes last. "DELETE" is needed as typed
    /// confirmation, without it nothing is touched and every item fails. Never through a link, never across a mount;
    /// one item's failure stops no other. `path` of a result is where the item was, else its place. Told of each result
    /// as `DeletionCoordinator::execute` tells it, and stopped in the same ways.
    [[nodiscard]] std::vector<DeletionItemResult> empty(const std::vector<TrashedItem>& items,
                                                        const std::optional<Text>& typedConfirmation,
                                                        const DeletionCoordinator::ResultObserver& onResult,
                                                        const CancellationToken& cancellation = {});

private:
    struct State;
    std::unique_ptr<State> state_;
};

}  // namespace KestrelCore
