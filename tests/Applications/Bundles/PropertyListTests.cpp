#include "Applications/Bundles/PropertyList.hpp"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>
#include <sys/resource.h>
#include <vector>

namespace KestrelCore {
namespace {

std::string corpusFile(const std::string& name) {
    std::ifstream file{std::string{KESTREL_FUZZ_CORPUS} + "/propertylist/" + name, std::ios::binary};
    EXPECT_TRUE(file.is_open()) << name;
    return {std::istreambuf_iterator<char>{file}, {}};
}

/// A binary property list of these objects, each at most 255 bytes into the file unless `offsetBytes` says otherwise.
std::string binary(const std::vector<std::string>& objects, std::size_t root = 0, int offsetBytes = 1,
                   int referenceBytes = 1) {
    std::string bytes = "bplist00";
    std::vector<std::size_t> offsets;
    for (const std::string& object : objects) {
        offsets.push_back(bytes.size());
        bytes += object;
    }
    const std::size_t table = bytes.size();
    const auto append = [&bytes](std::uint64_t number, int size) {
        for (int i = size - 1; i >= 0; --i) bytes.push_back(static_cast<char>(number >> (8 * i)));
    };
    for (const std::size_t offset : offsets) append(offset, offsetBytes);
    append(0, 6);
    append(static_cast<std::uint64_t>(offsetBytes), 1);
    append(static_cast<std::uint64_t>(referenceBytes), 1);
    append(objects.size(), 8);
    append(root, 8);
    append(table, 8);
    return bytes;
}

std::string xml(const std::string& inside) {
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
           "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n<plist version=\"1.0\">" +
           inside + "</plist>\n";
}

std::string repeated(std::string_view piece, std::size_t times) {
    std::string text;
    text.reserve(piece.size() * times);
    for (std::size_t i = 0; i < times; ++i) text += piece;
    return text;
}

using Strings = PropertyListStrings;

}  // namespace

TEST(PropertyList, readsTheStringsOfABinaryAndAnXMLDictionary) {
    for (const char* name : {"info.bplist", "info.xml"}) {
        const auto strings = readPropertyList(corpusFile(name));
        ASSERT_TRUE(strings.has_value()) << name;
        EXPECT_EQ(strings->at("CFBundleIdentifier"), Text{"com.example.Notes"}) << name;
        EXPECT_EQ(strings->at("CFBundleShortVersionString"), Text{"1.2"}) << name;
        EXPECT_EQ(strings->at("É"), Text{"ü"}) << name;
        for (const char* key : {"N", "R", "B", "D", "A", "T"}) EXPECT_EQ(strings->at(key), std::nullopt) << name << key;
    }
}

TEST(PropertyList, isNothingUnlessItIsADictionary) {
    for (const char* name : {"array.bplist", "array.xml", "empty"})
        EXPECT_FALSE(readPropertyList(corpusFile(name)).has_value()) << name;
    for (const char* text : {"word", "(a, b)", "<0a>", "   ", "\xFF\xFE", "\xEF\xBB\xBF"})
        EXPECT_FALSE(readPropertyList(text).has_value()) << text;
}

TEST(PropertyList, readsTheOldTextForm) {
    struct Case {
        const char* text;
        Strings expected;
    };
    const Case cases[] = {
        {"{}", {}},
        {"{ a = b; }", {{"a", "b"}}},
        {"{a=b;c=d;}\n", {{"a", "b"}, {"c", "d"}}},
        {"// first\n{ /* x */ a /* y */ = 'single \"quoted\"'; } // last", {{"a", "single \"quoted\""}}},
        {"{ com.example-1/x:y_$ = 1.2.3; }", {{"com.example-1/x:y_$", "1.2.3"}}},
        {R"({ a = "\"\\\n\t\101\U00e9"; })", {{"a", "\"\\\n\tAé"}}},
        {R"({ a = "\Ud83d\Ude00 \Ud83d x \Ude00"; })", {{"a", "😀 � x �"}}},
        {"{ a = (1, (2, {b = c;}), ); d = {e = f;}; g = <0A fF>; h = i; }",
         {{"a", std::nullopt}, {"d", std::nullopt}, {"g", std::nullopt}, {"h", "i"}}},
        {"{ a = b; a = c; }", {{"a", "c"}}},
    };
    for (const Case& test : cases) EXPECT_EQ(readPropertyList(test.text), test.expected) << test.text;
}

TEST(PropertyList, readsStringsFilesInEveryEncoding) {
    const Strings expected{{"CFBundleName", "Nähe"}, {"plain", "word"}, {"alone", "alone"}};
    for (const char* name : {"utf8.strings", "utf16le.strings", "utf16be.strings", "utf16nomark.strings"})
        EXPECT_EQ(readPropertyList(corpusFile(name)), expected) << name;
}

TEST(PropertyList, readsNoDamagedText) {
    for (const char* text : {"{",           "{ a",           "{ a = ",        "{ a = b",        "{ a = b }",
                             "{ a = b; ",   "{ a = b; } x",  "a = b; }",      "{ a = (1 2); }", "{ a = (1, 2; }",
                             "{ a = (}; }", "{ a = <0>; }",  "{ a = <0g>; }", "{ a = \"b; }",   "{ = b; }",
                             "{ a == b; }", "{ a = b; /* }", "{ a = \"\\",    "a = {",          "a = <",
                             "\"\\U"})
        EXPECT_FALSE(readPropertyList(text).has_value()) << text;
}

TEST(PropertyList, anEmptyStringIsAString) {
    EXPECT_EQ(readPropertyList("{ a = \"\"; }"), (Strings{{"a", ""}}));
    EXPECT_EQ(readPropertyList(xml("<dict><key>a</key><string></string><key>b</key><string/></dict>")),
              (Strings{{"a", ""}, {"b", ""}}));
}

TEST(PropertyList, readsXMLWithWhatMayStandBetweenElements) {
    EXPECT_EQ(readPropertyList(corpusFile("comment.xml")),
              (Strings{{"k", std::nullopt}, {"e", ""}, {"d", std::nullopt}}));
    EXPECT_EQ(
        readPropertyList("\xEF\xBB\xBF" + xml("<dict><key>a&amp;b</key><string>&lt;&#x263A;&gt;</string></dict>")),
        (Strings{{"a&b", "<☺>"}}));
}

TEST(PropertyList, readsEntitiesAndLiteralTextOfXML) {
    struct Case {
        const char* inside;
        std::optional<Text> expected;  ///< empty for a list that is refused
    };
    const Case cases[] = {
        {"&lt;&gt;&amp;&quot;&apos;", "<>&\"'"},
        {"&#65;&#x42;&#X1F600;&#10;", "AB😀\n"},
        {" c\r\n d ", " c\r\n d "},
        {"x<![CDATA[<&amp;>]]>y<![CDATA[]]>&lt;", "x<&amp;>y<"},
        {"x]]>y>z", "x]]>y>z"},
        {"\xC3(", "\uFFFD("},
        {"&other;", std::nullopt},
        {"&LT;", std::nullopt},
        {"&lt", std::nullopt},
        {"a & b", std::nullopt},
        {"&;", std::nullopt},
        {"&l<![CDATA[t;]]>", std::nullopt},
        {"&#;", std::nullopt},
        {"&#x;", std::nullopt},
        {"&#-5;", std::nullopt},
        {"&#65x;", std::nullopt},
        {"&#0;", std::nullopt},
        {"&#xD83D;&#xDE00;", std::nullopt},
        {"&#x110000;", std::nullopt},
        {"&#99999999999999999999;", std::nullopt},
        {"<![CDATA[x", std::nullopt},
    };
    for (const auto& [inside, expected] : cases) {
        const std::string text = inside;
        const auto strings = readPropertyList(xml("<dict><key>a</key><string>" + text + "</string></dict>"));
        ASSERT_EQ(strings.has_value(), expected.has_value()) << text;
        if (strings) {
            EXPECT_EQ(*strings, (Strings{{"a", expected}})) << text;
        }
        const auto asKey = readPropertyList(xml("<dict><key>" + text + "</key><true/></dict>"));
        ASSERT_EQ(asKey.has_value(), expected.has_value()) << text;
        if (asKey) {
            EXPECT_EQ(*asKey, (Strings{{*expected, std::nullopt}})) << text;
        }
        // Where nobody asks for the value, it must be sound nevertheless.
        const auto within =
            readPropertyList(xml("<dict><key>a</key><array><string>" + text + "</string></array></dict>"));
        EXPECT_EQ(within.has_value(), expected.has_value()) << text;
    }
}

TEST(PropertyList, namesTheValuesOfAnXMLDictionaryByTheKeyBefore) {
    struct Case {
        const char* inside;
        std::optional<Strings> expected;
    };
    const Case cases[] = {
        {"", Strings{}},
        {"<key>a</key>", Strings{}},
        {"<key>a</key><string>1</string><key>b</key>", Strings{{"a", "1"}}},
        {"<key>a</key><key>b</key>", Strings{{"a", "b"}}},
        {"<key>a</key><key/>", Strings{{"a", ""}}},
        {"<key>a</key><string>1</string><key>a</key><true/>", Strings{{"a", std::nullopt}}},
        {"<key></key><string>1</string>", Strings{{"", "1"}}},
        {"<key>a</key><dict><key>b</key><string>1</string></dict><key>c</key><string>2</string>",
         Strings{{"a", std::nullopt}, {"c", "2"}}},
        {"<key>a</key><array><key>b</key><string>1</string></array>", Strings{{"a", std::nullopt}}},
        {"<string>1</string>", std::nullopt},
        {"<key/><string>1</string>", std::nullopt},
        {"<key>a</key><string>1</string><string>2</string>", std::nullopt},
        {"<key>a</key><key>b</key><string>1</string>", std::nullopt},
        {"<key>a</key><dict><string>1</string></dict>", std::nullopt},
        {"<array/>", std::nullopt},
    };
    for (const Case& test : cases)
        EXPECT_EQ(readPropertyList(xml("<dict>" + std::string{test.inside} + "</dict>")), test.expected) << test.inside;
}

TEST(PropertyList, readsBothKindsOfBinaryStrings) {
    const auto valueOf = [](const std::string& object) {
        const auto strings = readPropertyList(binary({std::string{"\xD1\1\2", 3}, "\x51k", object}));
        return strings ? strings->at("k") : std::nullopt;
    };
    EXPECT_EQ(valueOf("\x53"
                      "abc"),
              Text{"abc"});
    EXPECT_EQ(valueOf("\x50"), Text{""});
    EXPECT_EQ(valueOf(std::string{"\x5F\x10\x10", 3} + "0123456789abcdef"), Text{"0123456789abcdef"});
    EXPECT_EQ(valueOf("\x52\xC3\xA9"), Text{"é"});
    EXPECT_EQ(valueOf("\x51\xE9"), Text{"\uFFFD"});
    EXPECT_EQ(valueOf(std::string{"\x62\0A\0\xE9", 5}), Text{"Aé"});
    EXPECT_EQ(valueOf(std::string{"\x62\xD8\x3D\xDE\x00", 5}), Text{"😀"});
    EXPECT_EQ(valueOf(std::string{"\x53x\0y", 4}), Text{"x"});
    EXPECT_EQ(valueOf(std::string{"\x63\0x\0\0\0y", 7}), Text{"x"});
    EXPECT_EQ(valueOf(std::string{"\x62\0x\xD8\x3D", 5}), Text{"x\uFFFD"});
    // The later of two equal keys stands.
    EXPECT_EQ(readPropertyList(binary({std::string{"\xD2\1\1\2\3", 5}, "\x51k", "\x51x", "\x51y"})),
              (Strings{{"k", "y"}}));
}

TEST(PropertyList, readsNoXMLThatADecoderMightReadInAnotherWay) {
    for (const std::string& text : {
             std::string{"<dict><key>a</key><string>b</string></dict>"},  // no outermost element
             xml("<dict/><dict/>"),
             xml("<dict><key>a</key><string>b</dict>"),
             xml("<dict><key>a</key></array>"),
             xml("<dict><key>a</key><string><dict/></string></dict>"),
             xml("<dict><key>a</key><string x='>'>b</string></dict>"),
             xml("<dict><key>a</key><string x=\"1\">b</string></dict>"),
             xml("<dict><key>a</key><other/></dict>"),
             xml("<dict>text<key>a</key><string>b</string></dict>"),
             xml("<dict><key>a</key><string>b</string>"),
             xml("<dict/>") + "<dict/>",
             "<?xml version=\"1.0?>" + xml("<dict/>"),
             "<!DOCTYPE plist PUBLIC \">" + xml("<dict/>"),
             xml("<dict/>") + std::string(1, '\0'),
             corpusFile("entities.xml"),
         })
        EXPECT_FALSE(readPropertyList(text).has_value()) << text;
}

TEST(PropertyList, refusesABinaryOneThatHoldsItself) {
    for (const char* name : {"cycle.bplist", "long-cycle.bplist"})
        EXPECT_FALSE(readPropertyList(corpusFile(name)).has_value()) << name;
    // A dictionary whose value is an array that holds it again.
    EXPECT_FALSE(readPropertyList(binary({std::string{"\xD1\1\2", 3}, "\x51k", std::string{"\xA1\0", 2}})).has_value());
    EXPECT_TRUE(readPropertyList(binary({std::string{"\xD1\1\2", 3}, "\x51k", "\xA1\1"})).has_value());
}

TEST(PropertyList, refusesABinaryOneThatUnfoldsToTooManyObjects) {
    EXPECT_FALSE(readPropertyList(corpusFile("bomb.bplist")).has_value());
    // Sharing as such is fine: three levels of eight. Six are too many.
    const auto levels = [](char count) {
        std::vector<std::string> objects = {std::string{"\xD1\1\2", 3}, "\x51k"};
        for (char level = 0; level < count; ++level)
            objects.push_back("\xA8" + std::string(8, static_cast<char>(level + 3)));
        objects.emplace_back("\x51x");
        return binary(objects);
    };
    EXPECT_EQ(readPropertyList(levels(3)), (Strings{{"k", std::nullopt}}));
    EXPECT_FALSE(readPropertyList(levels(6)).has_value());
}

TEST(PropertyList, refusesABinaryOneThatUnfoldsToTooManyBytes) {
    // 65,535 references to one string of 65,535 bytes: few objects, four gigabytes.
    const std::string text = std::string{"\x5F\x11\xFF\xFF", 4} + std::string(65'535, 'x');
    const std::string array = std::string{"\xAF\x11\xFF\xFF", 4} + std::string(65'535, '\2');
    const std::string dictionary{"\xD1\2\1", 3};
    EXPECT_FALSE(readPropertyList(binary({dictionary, array, text}, 0, 4)).has_value());
    EXPECT_TRUE(readPropertyList(binary({dictionary, "\xA1\2", text}, 0, 4)).has_value());
}

TEST(PropertyList, refusesEveryFormThatIsNestedTooDeep) {
    constexpr std::size_t deep = 100'000;
    std::vector<std::string> arrays;
    for (std::size_t i = 0; i + 1 < deep; ++i) {
        arrays.push_back({'\xA1', static_cast<char>((i + 1) >> 24), static_cast<char>((i + 1) >> 16),
                          static_cast<char>((i + 1) >> 8), static_cast<char>(i + 1)});
    }
    arrays.emplace_back("\xA0");
    EXPECT_FALSE(readPropertyList(binary(arrays, 0, 4, 4)).has_value());
    EXPECT_FALSE(readPropertyList(xml(repeated("<array>", 60'000) + repeated("</array>", 60'000))).has_value());
    EXPECT_FALSE(readPropertyList(xml("<dict>" + repeated("<key>a</key><dict>", 20'000) + repeated("</dict>", 20'001)))
                     .has_value());
    EXPECT_FALSE(readPropertyList("a = " + repeated("(", deep) + repeated(")", deep) + ";").has_value());
    EXPECT_FALSE(readPropertyList(repeated("{a=", deep)).has_value());
}

TEST(PropertyList, readsWhatIsNestedAsDeepAsAllowed) {
    const auto dictionaries = [](std::size_t count) {
        return xml(repeated("<dict><key>a</key>", count) + "<true/>" + repeated("</dict>", count));
    };
    EXPECT_TRUE(readPropertyList(dictionaries(PropertyListLimits::nesting)).has_value());
    EXPECT_FALSE(readPropertyList(dictionaries(PropertyListLimits::nesting + 1)).has_value());
    const auto braces = [](std::size_t count) {
        return repeated("{a=", count) + "b;" + repeated("};", count - 1) + "}";
    };
    EXPECT_TRUE(readPropertyList(braces(PropertyListLimits::nesting)).has_value());
    EXPECT_FALSE(readPropertyList(braces(PropertyListLimits::nesting + 1)).has_value());
}

TEST(PropertyList, refusesABinaryOneWhosePartsLieElsewhere) {
    for (const char* name :
         {"data-2-62.bplist", "many-objects.bplist", "offset-outside.bplist", "reference-outside.bplist",
          "root-outside.bplist", "table-outside.bplist", "key-is-number.bplist", "odd-sizes.bplist",
          "nul-in-key.bplist", "nul-in-utf16-key.bplist"})
        EXPECT_FALSE(readPropertyList(corpusFile(name)).has_value()) << name;
    EXPECT_FALSE(readPropertyList("bplist00").has_value());
    const std::string sound = corpusFile("info.bplist");
    ASSERT_TRUE(readPropertyList(sound).has_value());
    for (std::size_t size = 0; size < sound.size(); ++size)
        EXPECT_FALSE(readPropertyList(std::string_view{sound}.substr(0, size)).has_value()) << size;
}

TEST(PropertyList, refusesTooManyObjectsAndTooLargeFiles) {
    EXPECT_FALSE(readPropertyList("{ a = b; }" + std::string(PropertyListLimits::fileBytes, ' ')).has_value());
    EXPECT_FALSE(readPropertyList("a = (" + repeated("1,", PropertyListLimits::objects) + ");").has_value());
    EXPECT_FALSE(
        readPropertyList(xml("<array>" + repeated("<true/>", PropertyListLimits::objects) + "</array>")).has_value());
}

/// Every file that ever troubled a reader, and every byte of the sound ones damaged in turn.
TEST(PropertyList, survivesTheCorpus) {
    int files = 0;
    for (const auto& entry : std::filesystem::directory_iterator{std::string{KESTREL_FUZZ_CORPUS} + "/propertylist"}) {
        (void)readPropertyList(corpusFile(entry.path().filename().string()));
        ++files;
    }
    EXPECT_GE(files, 25);
    for (const char* name : {"info.bplist", "info.xml", "text.plist", "utf16le.strings"}) {
        const std::string sound = corpusFile(name);
        for (std::size_t i = 0; i < sound.size(); ++i) {
            for (const char damage : {'\0', '\x7f', '\xff', '<', '"'}) {
                std::string damaged = sound;
                damaged[i] = damage;
                (void)readPropertyList(damaged);
            }
        }
    }
}

/// The worst that the limits let through must not take more than 64 MiB.
TEST(PropertyList, takesBoundedMemory) {
#ifdef KESTREL_SANITIZED
    GTEST_SKIP() << "A sanitizer's own memory would be measured";
#else
    const auto peakBytes = [] {
        rusage usage;
        getrusage(RUSAGE_SELF, &usage);
        return static_cast<std::int64_t>(usage.ru_maxrss) * 1024;
    };
    const std::int64_t before = peakBytes();
    EXPECT_TRUE(readPropertyList("{ a = (" + repeated("1,", PropertyListLimits::objects - 3) + "); }").has_value());
    EXPECT_TRUE(readPropertyList(xml("<dict><key>a</key><array>" +
                                     repeated("<true/>", PropertyListLimits::objects - 10) + "</array></dict>"))
                    .has_value());
    std::string shared;
    for (std::size_t i = 0; i < 99'990; ++i) shared += std::string{"\0\1", 2};
    const std::string many = binary(
        {std::string{"\xD1\0\2\0\3", 5}, "\x08", "\x51k", std::string{"\xAF\x12\0\1\x86\x96", 6} + shared}, 0, 4, 2);
    EXPECT_TRUE(readPropertyList(many).has_value());
    EXPECT_LT(peakBytes() - before, std::int64_t{64} << 20);
#endif
}

}  // namespace KestrelCore
