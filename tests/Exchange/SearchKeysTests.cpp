#include "Exchange/SearchKeys.hpp"
#include "KestrelCore/Base/Text.hpp"
#include "support/Vectors.hpp"

#include <gtest/gtest.h>
#include <rapidcheck.h>
#include <rapidcheck/gtest.h>
#include <string>
#include <vector>

namespace KestrelCore {
namespace {

/// Plain letters, marks, singletons, syllables and their parts, emoji with what changes them, borders.
const std::vector<std::string> pieces = {
    "a",      "e",      "E",      "K",      ".",      "/",          "-",      ";",      "\u00E9", "\u00C9",
    "\u0130", "\u01D6", "\u0301", "\u0308", "\u0323", "\u0338",     "\u212A", "\u1EA1", "\u03A3", "\u226E",
    "<",      "\uAC00", "\uAC01", "\u1100", "\u1161", "\u11A8",     "\u200D", "\uFE0F", "\u0928", "\u093F",
    "\u0CC0", "\u09CB", "\u0600", "\u65E5", "\u13A0", "\U0001F44D", "\u037E", "\u0344", "\u0F73", "\U0001F3FD"};

std::string aText(std::size_t longest) {
    std::string text;
    const auto count = *rc::gen::inRange<std::size_t>(0, longest);
    for (std::size_t i = 0; i < count; ++i) text += *rc::gen::elementOf(pieces);
    return text;
}

/// What a column store makes of a text and its column: it knows the case of ASCII only.
std::string keyFromColumn(const std::string& text, const std::string& column) {
    if (!column.empty()) return column;
    std::string lowered = text;
    for (char& c : lowered) c = c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c;
    return lowered;
}

bool isFound(const std::string& key, const std::string& word) {
    const std::string pattern = SearchKeys::pattern(word);
    return !pattern.empty() && key.find(pattern) != std::string::npos;
}

RC_GTEST_PROP(FleetSearchKeys, holdWhatTheLoweredTextContains, ()) {
    const std::string text = aText(8);
    const std::string word = aText(4);
    const bool contains = Text{text}.lowercased().contains(word);
    RC_ASSERT(isFound(SearchKeys::key(text), word) == contains);
    RC_ASSERT(isFound(keyFromColumn(text, SearchKeys::column(text)), word) == contains);
}

RC_GTEST_PROP(FleetSearchKeys, ofAFolderAndANameHoldWhatThePathContains, ()) {
    const std::string folder = "/" + aText(5);
    const std::string name = aText(5);
    const std::string word = aText(4);
    const std::string path = folder + "/" + name;
    std::string key = keyFromColumn(folder, SearchKeys::column(folder)) + "/";
    key += keyFromColumn(name, SearchKeys::column(name));
    if (SearchKeys::classOf(name, "") == SearchKeys::TextClass::odd) key = SearchKeys::ofOdd(name, path).path;
    RC_ASSERT(isFound(key, word) == Text{path}.lowercased().contains(word));
}

TEST(FleetSearchKeys, agreeWithTheRecordedTexts) {
    const testing::VectorFile file{std::filesystem::path{KESTREL_TEST_DATA} / "vectors/fixed/text-relations.json"};
    const std::vector<Text> texts = testing::textsOf(file.root()["texts"]);
    ASSERT_GT(texts.size(), 40U);
    for (const Text& text : texts) {
        for (const Text& word : texts)
            EXPECT_EQ(isFound(SearchKeys::key(text.view()), word.string()), text.lowercased().contains(word))
                << text.view() << " and " << word.view();
    }
}

TEST(FleetSearchKeys, areLeftOutWhereSmallASCIILettersAreAllOfThem) {
    EXPECT_EQ(SearchKeys::column("Report 2019.PDF"), "");
    EXPECT_EQ(SearchKeys::column("日本.TXT"), "");
    EXPECT_EQ(SearchKeys::column("\u00C9t\u00E9"), "\xC1\xA5\u0301t\xC1\xA5\u0301");
    EXPECT_EQ(SearchKeys::column("e\u0301"), "\xC1\xA5\u0301");
    EXPECT_EQ(SearchKeys::column("日\u0301"), "\xFF\xA6\x97\xA5\u0301");
}

TEST(FleetSearchKeys, knowTheClassOfARecord) {
    EXPECT_EQ(SearchKeys::classOf("a.pdf", "pdf"), SearchKeys::TextClass::ascii);
    EXPECT_EQ(SearchKeys::classOf("", ""), SearchKeys::TextClass::ascii);
    EXPECT_EQ(SearchKeys::classOf("é", ""), SearchKeys::TextClass::keyed);
    EXPECT_EQ(SearchKeys::classOf("a", "é"), SearchKeys::TextClass::keyed);
    EXPECT_EQ(SearchKeys::classOf("\u0301a", ""), SearchKeys::TextClass::odd);
    EXPECT_EQ(SearchKeys::classOf("\U0001F3FD", ""), SearchKeys::TextClass::odd);
}

}  // namespace
}  // namespace KestrelCore
