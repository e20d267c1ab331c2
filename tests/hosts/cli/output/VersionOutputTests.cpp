#include "output/VersionOutput.hpp"

#include "output/TerminalText.hpp"

#include "KestrelCore/UsedLibraries.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>
#include <string>
#include <vector>

namespace KestrelCLI {

namespace {

using testing::HasSubstr;
using testing::StartsWith;

std::string versionText(const SourceCommit& source, const GlobalOptions& options = {}, const Terminal& terminal = {}) {
    std::ostringstream out;
    const Session session{.out = out, .messages = out, .terminal = terminal, .options = options, .source = source};
    writeVersion(session);
    return out.str();
}

constexpr SourceCommit someCommit{.name = "0123456789abcdef0123456789abcdef01234567"};

TEST(VersionOutput, namesVersionCommitAndLibraries) {
    const std::string text = versionText(someCommit);
    EXPECT_THAT(text,
                StartsWith("kestrel 1.0.0\nCommit: 0123456789abcdef0123456789abcdef01234567\nLibraries: Boost 1."));
    for (const KestrelCore::UsedLibrary& library : KestrelCore::usedLibraries())
        EXPECT_THAT(text, HasSubstr(library.name + " " + library.version));
    EXPECT_THAT(text, HasSubstr(", CLI11 2."));
    EXPECT_THAT(text, HasSubstr(", ncurses 6."));
    EXPECT_EQ(std::ranges::count(text, '\n'), 3);
}

TEST(VersionOutput, saysWhereTheSourceIsNoCommitOfItsOwn) {
    EXPECT_THAT(versionText({.name = someCommit.name, .isChanged = true}), HasSubstr("4567, with changes\n"));
    EXPECT_THAT(versionText({}), HasSubstr("\nCommit: unknown\n"));
}

TEST(VersionOutput, staysWithinTheTerminal) {
    std::istringstream lines{versionText(someCommit, {}, {.isOutput = true, .columns = 60})};
    for (std::string line; std::getline(lines, line);) EXPECT_LE(TerminalText::width(line), 60U) << line;
}

TEST(VersionOutput, isOneObjectAsJSON) {
    GlobalOptions options;
    options.json = true;
    EXPECT_THAT(versionText(someCommit, options),
                StartsWith(R"({"schema": 1, "version": "1.0.0", "commit": "0123456789abcdef0123456789abcdef01234567", )"
                           R"("isChanged": false, "libraries": [{"name": "Boost", "version": "1.)"));
    EXPECT_THAT(versionText({}, options), StartsWith(R"({"schema": 1, "version": "1.0.0", "libraries": [)"));
}

TEST(UsedLibraries, eachHasAVersionOfNumbers) {
    std::vector<std::string> names;
    for (const auto& [name, version] : KestrelCore::usedLibraries()) {
        names.push_back(name);
        EXPECT_THAT(version, testing::MatchesRegex("[0-9]+\\.[0-9.]+")) << name;
    }
    EXPECT_THAT(names, testing::IsSupersetOf({"ICU", "SQLite", "fmt", "simdjson", "zstd", "zlib"}));
}

}  // namespace

}  // namespace KestrelCLI
