#include "fuzz/ImportInput.hpp"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>

namespace KestrelCore {
namespace {

std::string textOf(const std::filesystem::path& path) {
    std::ifstream file{path, std::ios::binary};
    return {std::istreambuf_iterator<char>{file}, std::istreambuf_iterator<char>{}};
}

/// Exports of several programs, and old findings of the fuzzer.
TEST(ImportCorpus, breaksNoPromise) {
    int count = 0;
    for (const auto& entry :
         std::filesystem::directory_iterator{std::filesystem::path{KESTREL_FUZZ_CORPUS} / "import"}) {
        SCOPED_TRACE(entry.path());
        Fuzzing::exerciseImport(textOf(entry.path()));
        ++count;
    }
    EXPECT_GT(count, 8);
}

/// Wherever a file was cut off, it is told that it was, with the place.
TEST(ImportCorpus, isRefusedWhereverItIsCutOff) {
    for (const char* name : {"everything.json", "gdu.json", "lines.jsonl", "gdu.json.gz", "lines.jsonl.zst"}) {
        std::string whole = textOf(std::filesystem::path{KESTREL_FUZZ_CORPUS} / "import" / name);
        if (whole.ends_with('\n')) whole.pop_back();
        std::string refusal;
        ASSERT_TRUE(Fuzzing::imported(whole, 4096, refusal)) << name << ": " << refusal;
        for (std::size_t length = 0; length < whole.size(); ++length) {
            refusal.clear();
            EXPECT_FALSE(Fuzzing::imported(std::string_view{whole}.substr(0, length), 4096, refusal))
                << name << " cut off after " << length;
            EXPECT_NE(refusal.find(", at byte "), std::string::npos) << name << " cut off after " << length;
        }
    }
}

}  // namespace
}  // namespace KestrelCore
