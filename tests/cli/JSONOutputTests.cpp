#include "JSONOutput.hpp"

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
        {"写真 🦅", "\"写真 🦅\""},
        {"b\xff!", "\"b\xEF\xBF\xBD!\""},
        {"\xF0\x9F\xA6", "\"\xEF\xBF\xBD\""},  // one replacement for one cut-off character
    };
    for (const auto& [text, json] : cases) EXPECT_EQ(jsonString(text), json) << testing::PrintToString(text);
}

}  // namespace KestrelCLI
