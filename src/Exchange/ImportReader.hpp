#pragma once

#include "Exchange/ImportedTree.hpp"
#include "KestrelCore/Base/Date.hpp"
#include "KestrelCore/Base/Text.hpp"
#include "KestrelCore/Model/ScanIssue.hpp"
#include "JSON/JSONTokenReader.hpp"

#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

namespace KestrelCore {

/// What a file tells, when it has been read to its end.
struct ReadScan {
    ImportedTree tree;
    std::optional<Text> program;
    std::optional<Text> host;
    std::optional<Date> startedAt;
    std::optional<Date> completedAt;
    bool isComplete = true;
    std::vector<Text> leftOut;
    std::vector<ScanIssue> issues;  ///< at most `mostIssues`
    std::int64_t unread = 0;

    static constexpr std::size_t mostIssues = 1000;  ///< as many as a scan keeps
};

// Each reads a whole text; the first token, which says what it is, has been read. They throw `ImportError`, and what
// the reader of tokens throws.

/// ncdu's format; the token was the beginning of an array.
void readNcdu(JSONTokenReader& tokens, ReadScan& scan);
/// Ours; the token was the beginning of an object.
void readLines(JSONTokenReader& tokens, ReadScan& scan);

/// The whole number from 0 to 2^64 - 1 that the text is; empty where it is none.
[[nodiscard]] std::optional<std::uint64_t> wholeNumber(std::string_view text);
/// The same of a size: up to 2^63 - 1. Throws where it is none.
[[nodiscard]] std::int64_t sizeAt(const JSONTokenReader& tokens, JSONTokenReader::Token token);
/// A text that is to be kept with the scan: of a bounded length.
[[nodiscard]] Text shortText(std::string_view text);
/// The moment that a text as of `Date::rfc3339` names.
[[nodiscard]] std::optional<Date> dateFromRFC3339(std::string_view text);

}  // namespace KestrelCore
