#pragma once

#include "output/JSONOutput.hpp"
#include "output/Session.hpp"

#include "KestrelCore/Base/Text.hpp"
#include "KestrelCore/Reclaim/DuplicateGroup.hpp"

#include <cstddef>
#include <functional>
#include <optional>
#include <ostream>
#include <string>

namespace KestrelCLI {

/// How groups of equal files are shown.
struct DuplicateListing {
    std::size_t groups = 0;         ///< at most
    std::size_t filesOfAGroup = 0;  ///< at most
    std::string spareWord{};        ///< before what may go, such as "spare"; at most 5 columns
    /// Why a file that may go by the report stays all the same; may be empty.
    std::function<std::optional<KestrelCore::Text>(const KestrelCore::DuplicateFile& file)> refusal{};
};

/// For a person: each group with what comes free, then a line for each file with its part in it. No path is cut.
void writeGroups(const Session& session, std::ostream& out, const KestrelCore::DuplicateReport& report,
                 const DuplicateListing& listing);

/// The member "groups", at most so many.
void writeGroups(JSONOutput& json, const KestrelCore::DuplicateReport& report, std::size_t most);

}  // namespace KestrelCLI
