#pragma once

#include "commands/CommandOptions.hpp"

#include "KestrelCore/Base/Date.hpp"
#include "KestrelCore/Model/SearchExplanation.hpp"
#include "KestrelCore/Model/SearchFilter.hpp"

#include <optional>
#include <string>
#include <vector>

namespace KestrelCLI {

/// The options of a search that narrow it beside its words, as they were written.
struct SearchFilterOptions {
    std::optional<std::string> olderThan;
    std::optional<std::string> newerThan;
    std::optional<std::string> minimum;
    std::optional<std::string> maximum;
    std::vector<std::string> types;
    std::vector<std::string> extensions;
    std::vector<std::string> places;
    std::vector<std::string> unwanted;

    void addTo(const CommandOptions& command);

    /// One option with its value, and the filter that it alone makes.
    struct Part {
        std::string written;  ///< "--min 1GB"
        KestrelCore::SearchFilter filter;
    };
    /// Each option that was given, several types (extensions, places) together. Throws `UsageError` for a value that
    /// means nothing.
    [[nodiscard]] std::vector<Part> parts(KestrelCore::Date now) const;
};

/// All of them in one filter.
[[nodiscard]] KestrelCore::SearchFilter together(const std::vector<SearchFilterOptions::Part>& parts);

}  // namespace KestrelCLI
