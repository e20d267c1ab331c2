#include "store/ScanLikeness.hpp"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <iterator>

using namespace KestrelCore;

namespace KestrelCLI {

namespace {

std::vector<Text> without(const std::vector<Text>& texts, const std::vector<Text>& others) {
    std::vector<Text> result;
    std::ranges::copy_if(texts, std::back_inserter(result), [&](const Text& each) {
        return std::ranges::find(others, each) == others.end() && std::ranges::find(result, each) == result.end();
    });
    return result;
}

}  // namespace

std::string leftOutInWords(const Session& session, const std::vector<Text>& leftOut) {
    constexpr std::size_t most = 4;
    // One more is as long as the words that would stand for it.
    const std::size_t shown = leftOut.size() > most + 1 ? most : leftOut.size();
    std::string text;
    for (std::size_t i = 0; i < shown; ++i) {
        const bool isLast = i + 1 == leftOut.size();
        text += i == 0 ? "" : isLast ? " and " : ", ";
        text += session.shown(leftOut[i].view());
    }
    if (shown < leftOut.size()) text += fmt::format(" and {} more", leftOut.size() - shown);
    return text;
}

std::string unlikenessInWords(const Session& session, const Generation& since, const Generation& until) {
    const std::vector<Text> onlyBefore = without(since.leftOut, until.leftOut);
    const std::vector<Text> onlyAfter = without(until.leftOut, since.leftOut);
    std::vector<std::string> parts;
    if (!onlyBefore.empty())
        parts.push_back(fmt::format("the earlier one left out {}", leftOutInWords(session, onlyBefore)));
    if (!onlyAfter.empty())
        parts.push_back(fmt::format("the later one left out {}", leftOutInWords(session, onlyAfter)));
    if (since.crossesMounts != until.crossesMounts) {
        parts.push_back(
            fmt::format("only the {} one entered other file systems", until.crossesMounts ? "later" : "earlier"));
    }
    if (parts.empty()) return {};
    return fmt::format("The two scans are not of the same items: {}. So a change may be none on the disk.",
                       fmt::join(parts, ", "));
}

void warnOfUnlike(const Session& session, const Generation& since, const Generation& until) {
    if (const std::string sentence = unlikenessInWords(session, since, until); !sentence.empty()) session.say(sentence);
}

}  // namespace KestrelCLI
