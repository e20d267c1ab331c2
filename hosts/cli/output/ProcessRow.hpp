#pragma once

#include "KestrelCore/Metrics/ProcessDescription.hpp"
#include "KestrelCore/Metrics/ProcessSample.hpp"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace KestrelCLI {

/// One process as lists show it.
struct ProcessRow {
    KestrelCore::ProcessSample sample;
    /// Empty but for the identifier when the process was gone before it could be described.
    KestrelCore::ProcessDescription description{};

    /// Bytes read and written a second; 0 where nobody tells.
    [[nodiscard]] std::int64_t diskBytesPerSecond() const;
};

/// Puts both together, in the order of the samples.
[[nodiscard]] std::vector<ProcessRow> processRows(std::vector<KestrelCore::ProcessSample> samples,
                                                  KestrelCore::ProcessInspector& inspector);

/// What a list of processes is narrowed to. All of it must hold.
struct ProcessFilter {
    /// Each stands somewhere in the name, the command line or the user's name, in any case, or is the identifier.
    std::vector<std::string> words{};
    std::optional<std::string> user{};  ///< that user's, by name or number

    [[nodiscard]] bool isEmpty() const { return words.empty() && !user; }
    [[nodiscard]] bool matches(const ProcessRow& row) const;
};

/// The words of a typed line.
[[nodiscard]] std::vector<std::string> wordsOf(std::string_view line);

}  // namespace KestrelCLI
