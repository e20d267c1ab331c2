#include "KestrelCore/Exchange/SnapshotImport.hpp"

#include "fuzz/ImportInput.hpp"

#include <gmock/gmock.h>

#include <zlib.h>
#include <zstd.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace KestrelCore {

namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

ImportedScan imported(std::string_view text) { return importScan(Fuzzing::sourceOf(text, 4096), {}).value(); }

/// The place and the sentence with which a text is refused.
std::string refusal(std::string_view text) {
    try {
        (void)imported(text);
    } catch (const ImportError& error) {
        return error.what();
    }
    return "taken";
}

/// A folder "/r" in the form of ncdu that holds these items.
std::string folderOf(const std::string& items) {
    return R"([1,2,{"progname":"ncdu"},[{"name":"/r","dev":1})" + (items.empty() ? "" : "," + items) + "]]";
}

std::string gzipped(std::string_view text) {
    std::string packed(compressBound(text.size()) + 64, '\0');
    z_stream stream{};
    deflateInit2(&stream, 6, Z_DEFLATED, 15 + 16, 8, Z_DEFAULT_STRATEGY);
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(text.data()));
    stream.avail_in = static_cast<uInt>(text.size());
    stream.next_out = reinterpret_cast<Bytef*>(packed.data());
    stream.avail_out = static_cast<uInt>(packed.size());
    deflate(&stream, Z_FINISH);
    packed.resize(stream.total_out);
    deflateEnd(&stream);
    return packed;
}

std::string chain(int levels) {
    std::string text = R"([1,2,{},[{"name":"/r"})";
    for (int i = 1; i < levels; ++i) text += R"(,[{"name":"d"})";
    return text + std::string(static_cast<std::size_t>(levels), ']') + "]";
}

}  // namespace

TEST(Import, takesEverythingThatTheFormOfNcduAllows) {
    const ImportedScan scan =
        imported(R"([1,2,{"progname":"ncdu","progver":"1.18","timestamp":1700000000,"more":[1,{"x":null}]},)"
                 R"([{"name":"/srv/","asize":4096,"dsize":4096,"dev":1},)"
                 R"({"name":"proc","dev":5,"excluded":"kernfs"},{"name":"cache","excluded":"pattern"},)"
                 R"({"name":"gone","read_error":true},[{"name":"locked.app","dsize":512,"read_error":true}],)"
                 R"({"name":"link","asize":3,"notreg":true},{"name":"socket","notreg":true},)"
                 R"({"name":".a.TXT","mtime":1700000001.5,"uid":0,"gid":0,"mode":33188,"dsize":8192,"asize":5000}]])");
    const ScanSnapshot& snapshot = scan.snapshot;
    EXPECT_EQ(scan.program, Text{"ncdu 1.18"});
    EXPECT_EQ(snapshot.completedAt(), Date::since1970(1'700'000'000));
    EXPECT_EQ(snapshot.scope().root.path(), Text{"/srv"});
    EXPECT_EQ(snapshot.totalAllocatedBytes(), 4096 + 512 + 8192);
    EXPECT_EQ(snapshot.record("/srv/proc")->kind(), FileKind::directory);
    EXPECT_EQ(snapshot.record("/srv/locked.app")->kind(), FileKind::package);
    EXPECT_EQ(snapshot.record("/srv/link")->kind(), FileKind::symbolicLink);
    EXPECT_EQ(snapshot.record("/srv/socket")->kind(), FileKind::other);
    const FileRecord file = *snapshot.record("/srv/.a.TXT");
    EXPECT_EQ(file.modifiedAt(), Date::since1970(1'700'000'001.5));
    EXPECT_EQ(file.fileExtension(), Text{"txt"});
    EXPECT_TRUE(file.isHidden());
    EXPECT_FALSE(file.identity());
    EXPECT_EQ(scan.unread, 2);
    EXPECT_THAT(scan.leftOut, ElementsAre(Text{"file systems of the kernel"}, Text{"what matched a pattern"}));
    ASSERT_EQ(snapshot.issues().size(), 2U);
    EXPECT_EQ(snapshot.issues()[1].path, Text{"/srv/locked.app"});
}

TEST(Import, countsHardLinksOnce) {
    const std::string twoOnEachDisk = R"({"name":"a","dsize":512,"ino":7,"hlnkc":true,"nlink":2},)"
                                      R"({"name":"b","dsize":512,"ino":7,"hlnkc":true,"nlink":2},)"
                                      R"([{"name":"other","dev":2},{"name":"c","dsize":512,"ino":7,"hlnkc":true}],)"
                                      R"({"name":"d","dsize":512,"ino":7,"dev":2,"hlnkc":true})";
    const ImportedScan scan = imported(folderOf(twoOnEachDisk));
    EXPECT_EQ(scan.snapshot.totalAllocatedBytes(), 1024);
    EXPECT_FALSE(scan.snapshot.record("/r/a")->isHardLinkDuplicate());
    EXPECT_TRUE(scan.snapshot.record("/r/b")->isHardLinkDuplicate());
    EXPECT_TRUE(scan.snapshot.record("/r/d")->isHardLinkDuplicate());
    // gdu marks all but the first name.
    const ImportedScan ofGdu = imported(R"([1,2,{"progname":"gdu"},[{"name":"/r"},{"name":"b","dsize":512,"ino":7,)"
                                        R"("hlnkc":true},{"name":"a","dsize":512}]])");
    EXPECT_EQ(ofGdu.snapshot.totalAllocatedBytes(), 512);
}

TEST(Import, takesDeepTreesUpToABound) {
    const ImportedScan scan = imported(chain(10'000));
    EXPECT_EQ(scan.snapshot.records().size(), 10'000U);
    EXPECT_THAT(refusal(chain(100'001)), HasSubstr("nested too deep"));
    // Brackets alone, too.
    EXPECT_THAT(refusal(R"([1,2,{"x":)" + std::string(1'000'000, '[')), HasSubstr("nested too deep"));
}

TEST(Import, takesNamesThatAreNoUTF8) {
    const ImportedScan scan = imported(folderOf("{\"name\":\"a\xff\"},{\"name\":\"\\ud800b\"}"));
    EXPECT_TRUE(scan.snapshot.record("/r/a\uFFFD"));
    EXPECT_TRUE(scan.snapshot.record("/r/\uFFFDb"));
}

TEST(Import, refusesWhatNoDiskCanHold) {
    struct Case {
        std::string text;
        std::string sentence;
    };
    const std::string huge = "9223372036854775807";
    const std::vector<Case> cases{
        {"", "The text ends too early, at byte 0."},
        {"hello", "This is no export of ncdu, of gdu or of kestrel, at byte 0."},
        {"path,name\r\n", "A table can't be taken over"},
        {"\xBFncduEX1", "ncdu's binary form"},
        {"[2,0,{},[{\"name\":\"/r\"}]]", "The version of the format is not 1, at byte 1."},
        {"[1,2,{},{\"name\":\"/r\"}]", "A folder was expected, at byte 8."},
        {"[1,2,{},[]]", "An object that describes a folder was expected"},
        {"[1,2,{},[{}]]", "An item has no name, at byte 9."},
        {"[1,2,{},[{\"name\":\"/r\"}],7]", "Something follows the top folder, at byte 24."},
        {folderOf("") + "x", "Something follows the end"},
        {folderOf("7"), "A folder or a file was expected"},
        {folderOf("{\"name\":\"a\""), "The brackets do not match"},
        {folderOf(R"({"name":"a/b"})"), "A name holds a slash"},
        {folderOf(R"({"name":"a\u0000"})"), "A name holds a NUL"},
        {folderOf(R"({"name":".."})"), "“..”"},
        {folderOf(R"({"name":""})"), "A name is empty"},
        {folderOf(R"({"name":7})"), "A text was expected"},
        {folderOf("{\"name\":\"" + std::string(70'000, 'a') + "\"}"), "A name is longer than any disk has"},
        {folderOf("{\"name\":\"" + std::string(2'000'000, 'a') + "\"}"), "A text is too long"},
        {folderOf(R"({"name":"a"},{"name":"b"},{"name":"a"})"), "A folder has a name twice, at byte 82."},
        {folderOf(R"({"name":"a","name":"b"})"), "A key occurs twice"},
        {folderOf(R"({"name":"a","asize":-1})"), "A size is no whole number"},
        {folderOf(R"({"name":"a","dsize":9223372036854775808})"), "A size is no whole number"},
        {folderOf(R"({"name":"a","dsize":1e400})"), "A size is no whole number"},
        {folderOf(R"({"name":"a","dsize":"1"})"), "A size is no whole number"},
        {folderOf(R"({"name":"a","dsize":)" + huge + "}"), "add up to more than any disk holds"},
        {folderOf(R"({"name":"a","mtime":1e400})"), "A time is none"},
        {folderOf(R"({"name":"a","hlnkc":1})"), "True or false was expected"},
        {"{}", "This is no scan that kestrel has written"},
        {R"({"schema":2,"form":"kestrel-scan","root":"/r"})", "The schema is not 1"},
    };
    for (const Case& each : cases)
        EXPECT_THAT(refusal(each.text), HasSubstr(each.sentence)) << each.text.substr(0, 200);
}

TEST(Import, refusesLinesThatContradictEachOther) {
    const std::string head = "{\"schema\":1,\"form\":\"kestrel-scan\",\"root\":\"/r\"}\n";
    const auto record = [](const std::string& path, const std::string& kind) {
        return "{\"path\":\"" + path + "\",\"kind\":\"" + kind + "\"}\n";
    };
    const std::string top = head + record("/r", "directory");
    EXPECT_THAT(refusal(head + record("/s", "directory")), HasSubstr("begins with"));
    EXPECT_THAT(refusal(top + record("/s", "file")), HasSubstr("does not come before it"));
    EXPECT_THAT(refusal(top + record("/r/a/b", "file")), HasSubstr("does not come before it"));
    EXPECT_THAT(refusal(top + record("/r/..", "file")), HasSubstr("“..”"));
    EXPECT_THAT(refusal(top + record("/r/a", "folder")), HasSubstr("A kind is none"));
    EXPECT_THAT(refusal(top + "{\"end\":{\"records\":2}}\n"), HasSubstr("The number of records"));
    EXPECT_EQ(refusal(top + "{\"end\":{\"records\":1}}\n"), "taken");
}

/// A short input must not take long, or much, however far it expands.
TEST(Import, refusesWhatExpandsBeyondAllMeasure) {
    const std::string text = folderOf("").substr(0, 47) + std::string(std::size_t{68} << 20, ' ');
    std::string packed(ZSTD_compressBound(text.size()), '\0');
    packed.resize(ZSTD_compress(packed.data(), packed.size(), text.data(), text.size(), 1));
    EXPECT_THAT(refusal(packed), HasSubstr("expands to far more than a scan does"));
    EXPECT_THAT(refusal(gzipped(text)), HasSubstr("expands to far more than a scan does"));
}

TEST(Import, canBeCancelled) {
    ImportOptions options;
    options.cancellation.cancel();
    EXPECT_FALSE(importScan(Fuzzing::sourceOf(folderOf(""), 4096), options));
}

}  // namespace KestrelCore
