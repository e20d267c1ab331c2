#include "output/JSONOutput.hpp"
#include "output/TerminalText.hpp"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <optional>
#include <sstream>
#include <string>

namespace KestrelCLI {

TEST(JSONOutput, keepsTheOrderOfKeysAndBeginsWithTheSchema) {
    std::ostringstream out;
    JSONOutput json{out};
    json.member("text", "a");
    json.member("yes", true);
    json.member("least", std::numeric_limits<std::int64_t>::min());
    json.member("most", std::numeric_limits<std::uint64_t>::max());
    json.member("half", 0.5);
    json.beginArray("list");
    json.element("x");
    json.element(7);
    json.beginObject();
    json.member("inner", 1);
    json.endObject();
    json.endArray();
    json.beginArray("none");
    json.endArray();
    json.beginObject("object");
    json.endObject();
    json.memberJSON("raw", "[1]");
    json.finish();
    EXPECT_EQ(out.str(), "{\"schema\": 1, \"text\": \"a\", \"yes\": true, \"least\": -9223372036854775808, "
                         "\"most\": 18446744073709551615, \"half\": 0.5, \"list\": [\"x\", 7, {\"inner\": 1}], "
                         "\"none\": [], \"object\": {}, \"raw\": [1]}\n");
}

TEST(JSONOutput, leavesOutWhatIsAbsentOrNoNumber) {
    std::ostringstream out;
    JSONOutput json{out};
    json.member("absent", std::optional<int>{});
    json.member("present", std::optional<int>{3});
    json.member("infinite", std::numeric_limits<double>::infinity());
    json.member("notANumber", std::numeric_limits<double>::quiet_NaN());
    json.finish();
    EXPECT_EQ(out.str(), "{\"schema\": 1, \"present\": 3}\n");
}

TEST(JSONOutput, writesValidTextWhateverANameHolds) {
    struct Case {
        std::string text;
        std::string json;
    };
    const Case cases[] = {
        {"a\"b\\c/d", R"("a\"b\\c/d")"},
        {"\n\t\r\x01\x1b", R"("\n\t\r\u0001\u001b")"},
        {std::string{"\0", 1}, R"("\u0000")"},
        {"\x7f\xC2\x9B", R"("\u007f\u009b")"},
        {"\xE2\x80\xAE", R"("\u202e")"},
        // U+E0001, U+E007F, U+E0FFF and what stands beside them: beyond the basic plane a pair each.
        {"\xF3\xA0\x80\x81\xF3\xA0\x81\xBF", R"("\udb40\udc01\udb40\udc7f")"},
        {"\xF3\xA0\xBF\xBF\xF3\xA1\x80\x80", "\"\\udb43\\udfff\xF3\xA1\x80\x80\""},
        {"\xF0\x9D\x85\xB3", R"("\ud834\udd73")"},
        {"\xEF\xB8\x80\xE3\x85\xA4", R"("\ufe00\u3164")"},
        {"写真 🦅", "\"写真 🦅\""},
        {"b\xff!", "\"b\xEF\xBF\xBD!\""},
        {"\xF0\x9F\xA6", "\"\xEF\xBF\xBD\""},  // one replacement for one cut-off character
    };
    for (const auto& [text, json] : cases) EXPECT_EQ(jsonString(text), json) << testing::PrintToString(text);
}

TEST(JSONOutput, escapesWhatATerminalWouldNotShow) {
    for (char32_t scalar = 0; scalar <= 0x10FFFF; ++scalar) {
        if (scalar >= 0xD800 && scalar <= 0xDFFF) continue;
        std::string text;
        if (scalar < 0x80) {
            text = {static_cast<char>(scalar)};
        } else if (scalar < 0x800) {
            text = {static_cast<char>(0xC0 | scalar >> 6), static_cast<char>(0x80 | (scalar & 0x3F))};
        } else if (scalar < 0x10000) {
            text = {static_cast<char>(0xE0 | scalar >> 12), static_cast<char>(0x80 | (scalar >> 6 & 0x3F)),
                    static_cast<char>(0x80 | (scalar & 0x3F))};
        } else {
            text = {static_cast<char>(0xF0 | scalar >> 18), static_cast<char>(0x80 | (scalar >> 12 & 0x3F)),
                    static_cast<char>(0x80 | (scalar >> 6 & 0x3F)), static_cast<char>(0x80 | (scalar & 0x3F))};
        }
        const bool isRaw = jsonString(text) == "\"" + text + "\"";
        const bool isShown = TerminalText::escaped(text) == text;
        if (scalar != U'"') {
            ASSERT_EQ(isRaw, isShown) << std::hex << static_cast<std::uint32_t>(scalar);
        }
    }
}

}  // namespace KestrelCLI
