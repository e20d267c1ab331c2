#include "JSON/JSONTokenReader.hpp"

#include <gtest/gtest.h>

#include <simdjson.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <random>
#include <span>
#include <string>
#include <string_view>

namespace KestrelCore {

namespace {

using Token = JSONTokenReader::Token;

JSONTokenReader readerOf(std::string_view text, std::size_t pieceSize, const JSONTokenReader::Limits& limits = {}) {
    return JSONTokenReader{[text, pieceSize](std::span<char> bytes) mutable {
                               const std::size_t count = std::min({bytes.size(), text.size(), pieceSize});
                               if (count > 0) std::memcpy(bytes.data(), text.data(), count);
                               text.remove_prefix(count);
                               return count;
                           },
                           limits};
}

/// The tokens of a text, each a letter with its text behind it; the error with its place where it has one.
std::string tokensOf(std::string_view text, std::size_t pieceSize = 1000) {
    JSONTokenReader reader = readerOf(text, pieceSize);
    std::string tokens;
    try {
        for (Token token = reader.next(); token != Token::end; token = reader.next()) {
            tokens += "{}[]ksntfz"[static_cast<std::size_t>(token)];
            if (token == Token::key || token == Token::string || token == Token::number) tokens += reader.text();
        }
    } catch (const JSONTokenReader::Error& error) {
        return tokens + " ! " + std::to_string(error.offset()) + ": " + error.what();
    }
    return tokens;
}

}  // namespace

TEST(JSONTokenReader, givesEachTokenWithItsText) {
    EXPECT_EQ(tokensOf(R"( {"a" : [1, -2.5e+3, "x", true, false, null, {}, []]} )"), "{ka[n1n-2.5e+3sxtfz{}[]]}");
    EXPECT_EQ(tokensOf(R"("\"\\\/\b\f\n\r\t\u0041\u00e9\ud83d\ude00\ud800x\udc00")"),
              "s\"\\/\b\f\n\r\tAé😀\uFFFDx\uFFFD");
    EXPECT_EQ(tokensOf("\"a\xff\x62\""), "sa\xff\x62");
    EXPECT_EQ(tokensOf("[1}"), "[n1 ! 2: The brackets do not match.");
    EXPECT_EQ(tokensOf("[1 2]"), "[n1 ! 3: A comma or an end was expected.");
    EXPECT_EQ(tokensOf("\"\n\""), " ! 1: A control character stands in a string.");
}

TEST(JSONTokenReader, keepsToItsLimits) {
    JSONTokenReader deep = readerOf("[[[", 10, {.deepest = 2, .longestText = 4});
    (void)deep.next();
    (void)deep.next();
    EXPECT_THROW((void)deep.next(), JSONTokenReader::Error);
    EXPECT_THROW((void)readerOf("\"12345\"", 10, {.deepest = 2, .longestText = 4}).next(), JSONTokenReader::Error);
    EXPECT_THROW((void)readerOf("12345", 10, {.deepest = 2, .longestText = 4}).next(), JSONTokenReader::Error);
}

/// Another reader is the judge of what is JSON, for texts that are nearly some.
TEST(JSONTokenReader, takesWhatIsJSONAndNothingElse) {
    constexpr std::string_view letters = "{}[],:\"\\ \ntrufalsn012-.eE";
    const std::array<std::string, 4> seeds{R"({"a":[1,2,{"b":null}],"c":-0.1e2})", R"([true,false,"a\n\"",0,[],{}])",
                                           R"([[["x"]],10,-1.5E-2])", R"( "text" )"};
    std::mt19937 random{7};
    const auto below = [&](std::size_t count) { return static_cast<std::size_t>(random()) % count; };
    simdjson::dom::parser parser;
    int taken = 0;
    for (int i = 0; i < 20'000; ++i) {
        std::string text = seeds[below(seeds.size())];
        for (std::size_t changes = below(4); changes > 0; --changes) {
            const std::size_t at = below(text.size() + 1);
            if (below(2) == 0) {
                text.insert(at, 1, letters[below(letters.size())]);
            } else if (at < text.size()) {
                text.erase(at, 1 + below(3));
            }
        }
        const std::string tokens = tokensOf(text);
        const bool isTaken = tokens.find(" ! ") == std::string::npos;
        const auto error = parser.parse(text).error();
        ASSERT_EQ(isTaken, error == simdjson::SUCCESS) << text << " → " << tokens << ", " << error;
        ASSERT_EQ(tokensOf(text, 1), tokens) << text;
        taken += isTaken ? 1 : 0;
    }
    EXPECT_GT(taken, 4000);
}

}  // namespace KestrelCore
