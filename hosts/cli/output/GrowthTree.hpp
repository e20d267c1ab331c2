#pragma once

#include "output/Session.hpp"

#include "KestrelCore/Storage/Growth.hpp"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace KestrelCLI {

/// One line of the tree of changes: a change, a folder that holds several, or what else has changed in one.
struct GrowthLine {
    std::string branch;  ///< the lines of the tree before the name; empty for the root
    std::string name;    ///< below the line above it: one component, or several where each holds only the next; the
                         ///< root's whole path; as stored
    std::string path;    ///< whole; of a rest that of the folder
    std::string note;    ///< what has become of it, for a person; may hold a path
    std::int64_t change = 0;  ///< bytes, of all lines below together
    bool isFolder = false;
    bool isRest = false;  ///< stands for what else has changed in the folder above; has a note instead of a name
};

/// The compared folder and the changes below it, in each folder the largest first. The lines below one add up to it.
[[nodiscard]] std::vector<GrowthLine> growthTree(const KestrelCore::Growth& growth);

/// The tree as it is shown: signed size, bar, name, what has become of it. On what is no terminal each line has its
/// whole path instead of branches and a name.
void writeGrowth(const Session& session, const KestrelCore::Growth& growth);

/// How many changes to ask for, so that the few largest are not summed up in the folders above.
inline constexpr std::size_t changesToChooseFrom = 20;
/// The `count` largest changes one below the other under the title, each with its path, on a terminal below the
/// compared folder. What is only summed up there is left out; nothing is written where there is nothing else.
void writeLargestChanges(const Session& session, const KestrelCore::Growth& growth, std::size_t count,
                         std::string_view title);

/// The change with its sign: "+1.20 GB", "-300 MB", "0 B".
[[nodiscard]] std::string signedSize(const Session& session, std::int64_t bytes);

}  // namespace KestrelCLI
