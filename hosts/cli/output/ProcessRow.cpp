#include "output/ProcessRow.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <limits>
#include <sstream>
#include <utility>

namespace KestrelCLI {

using KestrelCore::ProcessDescription;
using KestrelCore::ProcessSample;
using KestrelCore::Text;

namespace {

bool contains(const std::optional<Text>& text, const Text& folded) { return text && text->folded().contains(folded); }

}  // namespace

std::int64_t ProcessRow::diskBytesPerSecond() const {
    // Two rates that fit may not fit together, where a counter claims anything.
    const std::int64_t read = description.readBytesPerSecond.value_or(0);
    const std::int64_t written = description.writtenBytesPerSecond.value_or(0);
    return read > std::numeric_limits<std::int64_t>::max() - written ? read : read + written;
}

std::vector<ProcessRow> processRows(std::vector<ProcessSample> samples, KestrelCore::ProcessInspector& inspector) {
    std::vector<std::int32_t> identifiers;
    identifiers.reserve(samples.size());
    for (const ProcessSample& sample : samples) identifiers.push_back(sample.id);
    std::vector<ProcessDescription> descriptions = inspector.describe(identifiers);
    std::vector<ProcessRow> rows;
    rows.reserve(samples.size());
    // Both are in one order, and some of the samples have no description.
    auto next = descriptions.begin();
    for (ProcessSample& sample : samples) {
        ProcessRow& row = rows.emplace_back();
        row.description.id = sample.id;
        if (next != descriptions.end() && next->id == sample.id) row.description = std::move(*next++);
        row.sample = std::move(sample);
    }
    return rows;
}

bool ProcessFilter::matches(const ProcessRow& row) const {
    if (user && row.description.user != Text{*user}) return false;
    return std::ranges::all_of(words, [&row](const std::string& word) {
        const Text folded = Text{word}.folded();
        return row.sample.name.folded().contains(folded) || contains(row.description.commandLine, folded) ||
               contains(row.description.user, folded) || word == fmt::to_string(row.sample.id);
    });
}

std::vector<std::string> wordsOf(std::string_view line) {
    std::istringstream stream{std::string{line}};
    std::vector<std::string> words;
    for (std::string word; stream >> word;) words.push_back(word);
    return words;
}

}  // namespace KestrelCLI
