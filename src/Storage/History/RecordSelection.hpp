#pragma once

#include "Snapshot/RecordStorage.hpp"

#include <cstddef>
#include <cstdint>
#include <optional>

namespace KestrelCore {

/// Chooses among records while they are read: by folder and name first, since whoever is turned away there has no
/// column read for it. Any thread may ask at once.
class RecordSelection {
public:
    virtual ~RecordSelection() = default;
    /// `storage` has all folders and extensions, and no record yet. Called once, before all else.
    virtual void begin(const RecordStorage& storage) = 0;
    /// `row` has its folder and its name, and no values.
    [[nodiscard]] virtual bool mayTake(const RecordStorage::Row& row) const = 0;
    /// `row` has all its values.
    [[nodiscard]] virtual bool takes(const RecordStorage::Row& row) const = 0;
    /// What is asked for where only the largest files are wanted.
    struct Largest {
        std::size_t count = 0;      ///< above 0
        bool asksForDates = false;  ///< whether `takes` looks at dates
    };
    /// Present where no more than so many of the largest files are wanted. Then `mayTake` must not look at names of
    /// files, and `takes` only at what they are (kind, extension, whether hidden), how large, and when they were
    /// changed.
    [[nodiscard]] virtual std::optional<Largest> largest() const { return std::nullopt; }
    /// Is told of the files that `takes` took and that are too small all the same: how many, and what they have
    /// allocated without further hard links. Called once, where only the largest are wanted.
    virtual void leaveOut(std::int64_t /*files*/, std::int64_t /*bytes*/) {}
    /// True when the records are not wanted any more: what is read then is not whole.
    [[nodiscard]] virtual bool isGivenUp() const = 0;
};

}  // namespace KestrelCore
