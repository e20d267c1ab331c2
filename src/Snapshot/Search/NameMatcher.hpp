#pragma once

#include "KestrelCore/Base/Text.hpp"
#include "Snapshot/Search/SearchPattern.hpp"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace KestrelCore {

/// What a term scores against one record; the first rule that holds counts. For the term "report":
///
///     report.pdf              190    the name, or the name without its extension
///     reports.txt             125    the beginning of the name
///     my report (2).txt       105    a word of it; words are runs of letters, digits and dots
///     my report.txt            86    the beginning of a word, which is "report.txt" here
///     myreport.txt             70    anywhere in it
///     /report/other.txt        30    only in the path of the record
///     reprt.txt                38    nowhere, but a word of it, or of its stem, is within the edit distance
struct TermScore {
    static constexpr std::int64_t none = 0;
    static constexpr std::int64_t equalsName = 190;  ///< or the name without its extension
    static constexpr std::int64_t beginsName = 125;
    static constexpr std::int64_t equalsWord = 105;
    static constexpr std::int64_t beginsWord = 86;
    static constexpr std::int64_t inName = 70;
    static constexpr std::int64_t inPath = 30;
    static constexpr std::int64_t nearWord = 38;  ///< tried after `inPath`
};

/// A record's lowercased name, and what patterns are to it. One is kept for a whole search and set to name after name;
/// it is not shared between threads.
///
/// The stem is the name without its extension and the dot before it, or the whole name when the extension is not its
/// end. Names in ASCII are handled as bytes; the rest goes through `Text`.
class NameMatcher {
public:
    /// `name` as it is stored, `loweredExtension` that of its record, lowercased.
    void set(std::string_view name, bool isASCII, const Text& loweredExtension);

    /// By the rules that look at the name only and know no distance; `TermScore::none` when none holds.
    [[nodiscard]] std::int64_t score(const SearchPattern& term);
    /// Whether a word of the name, or of the stem, is within the term's edit distance.
    [[nodiscard]] bool isNear(const SearchPattern& term);
    [[nodiscard]] bool isStem(const SearchPattern& phrase) const;
    [[nodiscard]] bool contains(const SearchPattern& pattern) const;
    /// False only when the name certainly does not begin with `ascii`.
    [[nodiscard]] bool mayBegin(std::string_view ascii) const;

private:
    [[nodiscard]] std::int64_t scoreASCII(const SearchPattern& term) const;
    [[nodiscard]] std::int64_t scoreText(const SearchPattern& term);
    void findWords();

    bool isASCII_ = true;
    std::string lowered_;  ///< of a name in ASCII
    std::size_t stemLength_ = 0;
    Text text_;  ///< of any other name, lowercased
    Text stem_;
    std::optional<std::vector<Text>> words_;
    std::vector<Text> stemWords_;  ///< set together with `words_`
};

}  // namespace KestrelCore
