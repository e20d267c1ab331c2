#pragma once

#include "CInterface/Boundary.hpp"
#include "CInterface/Records.hpp"

#include "KestrelCore/Base/Text.hpp"
#include "KestrelCore/Deletion/DeletionMeasurement.hpp"
#include "KestrelCore/Deletion/DeletionPlan.hpp"
#include "KestrelCore/Deletion/ProtectedPlace.hpp"
#include "KestrelCore/Model/FileRecord.hpp"
#include "KestrelCore/Storage/SnapshotHistory.hpp"

#include <cstddef>
#include <deque>
#include <memory>
#include <optional>
#include <vector>

namespace KestrelC {

/// Whether items of high risk may go, which is the user's to say.
enum class HighRisk { stays, goes };

/// An item of a plan, with what it was judged by. Stays where it is: `shown` views it.
struct PlannedItem {
    Text path;
    std::optional<KestrelCore::FileRecord> record{};            ///< absent of what was refused without a look
    std::shared_ptr<const KestrelCore::SuggestedItem> found{};  ///< where a rule has suggested it; else null
    std::shared_ptr<const SuggestedList> foundIn{};
    Text reason{};
    kestrel_plan_item shown{};
};

}  // namespace KestrelC

struct kestrel_plan {
    std::shared_ptr<KestrelCore::SnapshotHistory> history{};  ///< may be null
    std::vector<KestrelCore::ProtectedPlace> places{};
    KestrelC::HighRisk highRisk = KestrelC::HighRisk::stays;
    /// Made with the first item: from then on the two above stay as they are.
    std::unique_ptr<const KestrelCore::DeletionPlan> judge{};
    KestrelCore::DeletionMeasurement measurement{};
    std::deque<KestrelC::PlannedItem> items{};
    bool isExecuted = false;
};

namespace KestrelC {

/// The files of the program's own, and those of a history: absolute, raw bytes. `history` may be null.
[[nodiscard]] std::vector<KestrelCore::ProtectedPlace> ownPlaces(const kestrel_history* history);

/// Why a suggested item has to stay, asked of the disk now; empty where nothing speaks against it, or where no rule has
/// suggested it.
[[nodiscard]] std::optional<Text> suggestionObjection(const PlannedItem& item);

/// Takes out of the newest generation of each root what is gone of it. Empty, or why that could not be done.
[[nodiscard]] Text takenOut(KestrelCore::SnapshotHistory& history, const std::vector<Text>& gone);

}  // namespace KestrelC
