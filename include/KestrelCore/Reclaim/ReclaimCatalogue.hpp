#pragma once

#include "KestrelCore/Base/Text.hpp"
#include "KestrelCore/Export.hpp"
#include "KestrelCore/Reclaim/ReclaimRule.hpp"

#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

namespace KestrelCore {

/// Why a file is no rule.
struct ReclaimProblem {
    Text file;              ///< its path, or what stands for it
    std::int64_t line = 0;  ///< counted from 1; 0 where no line is to blame
    Text message;           ///< a finished sentence

    bool operator==(const ReclaimProblem&) const = default;
};

/// The rules that say what may go. A value; read by any thread.
class KESTRELCORE_EXPORT ReclaimCatalogue {
public:
    /// Which rules are kept.
    enum class Systems : std::uint8_t { thisOne, all };

    /// Without rules.
    explicit ReclaimCatalogue(Systems systems = Systems::thisOne);
    /// The rules that come with the library, then those of the person's own folder, `kestrel/reclaim` in the folder for
    /// configuration: these take the place of ours of the same identifier.
    [[nodiscard]] static ReclaimCatalogue standard(Systems systems = Systems::thisOne);
    /// The rules that come with the library.
    [[nodiscard]] static ReclaimCatalogue shipped(Systems systems = Systems::thisOne);

    /// Reads one rule from the text of a file, in place of the one that has had its identifier. Where it is none, the
    /// problem is noted, and nothing changes.
    void add(std::string_view text, const Text& file);
    /// Reads every file NAME.toml of a folder, in the order of their names. Nothing where there is no such folder.
    /// Blocks on the disk.
    void addFolder(const Text& folder);

    /// In the order in which they claim items: by rank, then the surest first, then by identifier.
    [[nodiscard]] const std::vector<ReclaimRule>& rules() const { return rules_; }
    /// Of files that were to be read, in their order.
    [[nodiscard]] const std::vector<ReclaimProblem>& problems() const { return problems_; }
    /// Null where there is none. Valid until something is added.
    [[nodiscard]] const ReclaimRule* find(std::string_view identifier) const;

private:
    Systems systems_;
    std::vector<ReclaimRule> rules_;
    std::vector<ReclaimProblem> problems_;
};

}  // namespace KestrelCore
