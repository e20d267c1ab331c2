#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace KestrelCore {

/// What a Git repository tracks, from the bytes of its index. Read-only; any thread.
class GitIndex {
public:
    /// Reads versions 2, 3 and 4, with identifiers of SHA-1 or SHA-256. Empty for what is damaged, larger than any
    /// working copy, or needs an extension that is not known here.
    [[nodiscard]] static std::optional<GitIndex> of(std::string_view bytes);

    /// The name of the file beside this one that holds the entries which are not here; empty for an index that stands
    /// alone. Of a split index both count: what has been taken out of it since it was split is still called tracked.
    [[nodiscard]] const std::string& sharedName() const { return sharedName_; }

    /// Whether the item at `path`, from the top of the working copy and without a slash at either end, or anything
    /// below it, is tracked. Of the empty path: whether anything is.
    [[nodiscard]] bool tracks(std::string_view path) const;

private:
    GitIndex() = default;

    std::vector<std::string> paths_;  ///< ascending by bytes; folders of a sparse index end with a slash
    std::string sharedName_;
};

}  // namespace KestrelCore
