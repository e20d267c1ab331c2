#pragma once

#include "KestrelCore/Base/Date.hpp"
#include "KestrelCore/Base/Text.hpp"
#include "KestrelCore/Model/ItemCategory.hpp"
#include "KestrelCore/Snapshot/Summary.hpp"
#include "Snapshot/SummaryClasses.hpp"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace KestrelCore {

/// A date's whole seconds since 2001, within 2^60 of it: then no difference overflows. Empty for what is no number.
[[nodiscard]] std::optional<std::int64_t> wholeSeconds(double secondsSinceReferenceDate);

/// The groups of one grouping, by number: whoever goes through files finds the number of each file's group, and counts
/// there. Fixed once it is made; any thread.
class SummaryGroups {
public:
    /// `extensions` are those that files may have, in the order that their numbers refer to.
    SummaryGroups(SummaryGrouping grouping, std::span<const Text> extensions, Date now);

    [[nodiscard]] SummaryGrouping grouping() const { return grouping_; }
    /// Of files with that extension, by type or by extension.
    [[nodiscard]] std::uint32_t ofExtension(std::size_t extension) const { return ofExtension_[extension]; }
    [[nodiscard]] std::size_t extensionCount() const { return ofExtension_.size(); }
    /// Of what lies in a package, by type.
    static constexpr auto applications = static_cast<std::uint32_t>(ItemCategory::applications);
    /// `seconds` as of `wholeSeconds`.
    [[nodiscard]] std::uint32_t ofAge(std::optional<std::int64_t> seconds) const {
        return static_cast<std::uint32_t>(ageClassOf(seconds, now_));
    }
    [[nodiscard]] static std::uint32_t ofSize(std::int64_t bytes) {
        return static_cast<std::uint32_t>(sizeClassOf(bytes));
    }

    /// Counts by group. Bytes are counted modulo 2^64, since sizes may be anything.
    class Tally {
    public:
        void add(std::uint32_t group, std::uint64_t bytes) {
            if (group >= counts_.size()) counts_.resize(group + std::size_t{1});
            ++counts_[group].items;
            counts_[group].bytes += bytes;
        }
        void add(const Tally& other);

    private:
        friend class SummaryGroups;
        struct Count {
            std::int64_t items = 0;
            std::uint64_t bytes = 0;
        };
        std::vector<Count> counts_;
    };
    /// Names what was counted, and puts it in order.
    [[nodiscard]] Summary summary(const Text& folder, const Tally& tally) const;

private:
    [[nodiscard]] Text nameOf(std::size_t group) const;

    SummaryGrouping grouping_;
    std::int64_t now_;
    std::vector<std::uint32_t> ofExtension_;
    std::vector<Text> names_;  ///< of groups by extension
};

}  // namespace KestrelCore
