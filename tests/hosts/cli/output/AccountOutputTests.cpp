#include "output/AccountOutput.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>

using namespace KestrelCore;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

namespace KestrelCLI {

namespace {

DiskAccount anAccount() {
    return {.kind = "ext4",
            .totalBytes = 1'000'000,
            .usedBytes = 700'000,
            .freeBytes = 300'000,
            .availableBytes = 250'000,
            .shownBytes = 600'000,
            .unreadItems = 2,
            .leftOut = {},
            .deletedOpen = {{.path = "/tmp/x\x1b", .allocatedBytes = 60'000, .processes = {{12, "cat"}, {13, "sh"}}}},
            .otherSystems = {{"/data", "xfs", 5'000}, {"/dead", "nfs", std::nullopt}, {"/dev", "devtmpfs", 0}},
            .sharesRoom = false};
}

std::string textOf(const DiskAccount& account, std::size_t columns = 120) {
    std::ostringstream out;
    Session session{.out = out, .messages = out, .terminal = {.isOutput = true, .columns = columns}, .options = {}};
    session.options.color = ColorChoice::never;
    writeAccount(session, account);
    return out.str();
}

}  // namespace

TEST(AccountOutput, tellsEveryPartOfTheSum) {
    EXPECT_THAT(textOf(anAccount()),
                AllOf(HasSubstr(" 600 kB  shown above\n"), HasSubstr("60.0 kB  deleted, but still open: 1 file\n"),
                      HasSubstr("40.0 kB  the rest: the file system's own data"),
                      HasSubstr(" 700 kB  used of 1.00 MB (ext4), as df tells; 250 kB are free, 50.0 kB reserved\n"),
                      HasSubstr("2 items could not be read"), Not(HasSubstr("Left out"))));
}

TEST(AccountOutput, namesProcessesAndOtherFileSystems) {
    EXPECT_THAT(textOf(anAccount()),
                AllOf(HasSubstr("60.0 kB  /tmp/x\\x1b  cat (12), sh (13)\n"), HasSubstr("5.00 kB  /data  xfs\n"),
                      HasSubstr("no answer  /dead  nfs\n"), Not(HasSubstr("devtmpfs"))));
}

TEST(AccountOutput, saysWhatARestBelowZeroIs) {
    DiskAccount account = anAccount();
    account.shownBytes = 900'000;
    EXPECT_THAT(textOf(account), HasSubstr("-260 kB  the rest: the disk has changed since it was scanned"));
    account.sharesRoom = true;
    account.kind = "btrfs";
    EXPECT_THAT(textOf(account), HasSubstr("-260 kB  the rest: files on btrfs share room, and each is shown whole"));
}

TEST(AccountOutput, wrapsAtWordsWhereTheTerminalIsNarrow) {
    std::istringstream lines{textOf(anAccount(), 40)};
    bool isWhole = false;
    for (std::string line; std::getline(lines, line);) {
        EXPECT_LE(line.size(), 40U) << line;
        isWhole = isWhole || line == "         what could not be read";
    }
    EXPECT_TRUE(isWhole);
}

TEST(AccountOutput, isAMemberOfTheJSONObject) {
    std::ostringstream out;
    JSONOutput json{out};
    writeAccount(json, anAccount());
    json.finish();
    EXPECT_THAT(out.str(), AllOf(HasSubstr("\"usedBytes\": 700000"), HasSubstr("\"restBytes\": 40000"),
                                 HasSubstr("\"processes\": [{\"id\": 12, \"name\": \"cat\"}"),
                                 HasSubstr("{\"path\": \"/dead\", \"fileSystem\": \"nfs\"}")));
}

}  // namespace KestrelCLI
