#include "KestrelCore/Deletion/TrashBin.hpp"

#include "support/ChildProcess.hpp"
#include "support/EnvironmentSetting.hpp"
#include "support/SupervisedCalls.hpp"
#include "support/TemporaryFolder.hpp"

#include <gmock/gmock.h>

#include <algorithm>
#include <chrono>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <optional>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace KestrelCore {

namespace fs = std::filesystem;

namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

constexpr const char* date = "2026-11-20T09:30:00";

/// A trash of its own. This machine's other trashes are listed, too, and never touched: only items of this one are
/// handed on.
class TrashBinTest : public ::testing::Test {
protected:
    void SetUp() override {
        fs::create_directories(trash / "files");
        fs::create_directories(trash / "info");
        for (const fs::path& each : {trash, trash / "files", trash / "info"})
            fs::permissions(each, fs::perms::owner_all);
    }
    std::string put(const std::string& name, const std::string& content = "content") const {
        std::ofstream{trash / "files" / name} << content;
        entry(name, "/home/anna/" + name);
        return trash / "files" / name;
    }
    void entry(const std::string& name, const std::string& path, const std::string& when = date) const {
        std::ofstream{entryPath(name)} << "[Trash Info]\nPath=" << path << "\nDeletionDate=" << when << "\n";
    }
    [[nodiscard]] fs::path entryPath(const std::string& name) const { return trash / "info" / (name + ".trashinfo"); }
    static void makeOld(const fs::path& path) {
        fs::last_write_time(path, fs::file_time_type::clock::now() - std::chrono::hours{2});
    }
    [[nodiscard]] std::vector<TrashedItem> itemsOf(const TrashBin& bin) const {
        std::vector<TrashedItem> items = bin.items().items;
        std::erase_if(items, [&](const TrashedItem& item) { return !item.place.starts_with(trash.string() + "/"); });
        return items;
    }
    static DeletionItemResult remove(TrashBin& bin, const TrashedItem& item) {
        return bin.empty({item}, "DELETE", [](const DeletionItemResult&) { return true; }).at(0);
    }
    [[nodiscard]] bool isKnown(const TrashBin& bin) const {
        return std::ranges::find(bin.trashes(), trash.string()) != bin.trashes().end();
    }

    TemporaryFolder folder;
    EnvironmentSetting setting{"XDG_DATA_HOME", (folder / "data").c_str()};
    fs::path trash = folder / "data/Trash";
};

}  // namespace

TEST_F(TrashBinTest, listsWhatAnyProgramPutThere) {
    put("a%20b");
    entry("a%20b", "/home/anna/a%20b");
    fs::create_directory(trash / "files/folder");
    entry("folder", "/home/anna/folder", "yesterday");
    std::ofstream{trash / "files/orphan"} << "x";
    entry("gone", "/home/anna/gone");
    makeOld(entryPath("gone"));
    entry("coming", "/home/anna/coming");  // another program may be about to move the item
    std::ofstream{trash / "info/unrelated"} << "x";

    const TrashBin bin;
    const auto items = itemsOf(bin);
    ASSERT_EQ(items.size(), 4U);
    EXPECT_EQ(items[0].place, (trash / "files/a%20b").string());
    EXPECT_EQ(items[0].path, Text{"/home/anna/a b"});
    EXPECT_EQ(items[0].state, TrashedItemState::whole);
    std::tm local{};
    ASSERT_NE(::strptime(date, "%Y-%m-%dT%H:%M:%S", &local), nullptr);
    local.tm_isdst = -1;
    EXPECT_EQ(items[0].trashedAt->secondsSince1970(), static_cast<double>(std::mktime(&local)));
    EXPECT_EQ(items[1].path, Text{"/home/anna/folder"});
    EXPECT_LT(Date::now().secondsSinceReferenceDate - items[1].trashedAt->secondsSinceReferenceDate, 3600);
    EXPECT_EQ(items[2].state, TrashedItemState::withoutEntry);
    EXPECT_EQ(items[2].path, std::nullopt);
    EXPECT_EQ(items[3].state, TrashedItemState::entryAlone);
    EXPECT_EQ(items[3].place, entryPath("gone").string());
    EXPECT_EQ(items[3].item, std::nullopt);
}

TEST_F(TrashBinTest, removesItemsWithTheirEntries) {
    const std::string kept = put("kept");
    put("file");
    fs::create_directories(trash / "files/folder/sub");
    std::ofstream{trash / "files/folder/sub/f"} << "x";
    entry("folder", "/home/anna/folder");
    std::ofstream{trash / "files/orphan"} << "x";
    std::ofstream{trash / "files/b\xFF"} << "x";  // a name that is no text
    entry("gone", "/home/anna/gone");
    makeOld(entryPath("gone"));
    std::ofstream{trash / "directorysizes"} << "4096 1 folder\n4096 1 kept\n";

    TrashBin bin;
    std::vector<TrashedItem> items = itemsOf(bin);
    std::erase_if(items, [&](const TrashedItem& item) { return item.place == kept; });
    ASSERT_EQ(items.size(), 5U);
    std::size_t told = 0;
    const auto results = bin.empty(items, "DELETE", [&](const DeletionItemResult&) { return ++told > 0; });
    EXPECT_EQ(told, 5U);
    for (const DeletionItemResult& result : results) {
        EXPECT_TRUE(result.succeeded) << result.message.string();
        EXPECT_EQ(result.message, Text{"Permanently removed."});
    }
    ASSERT_EQ(itemsOf(bin).size(), 1U);
    EXPECT_TRUE(fs::exists(kept) && fs::exists(entryPath("kept")));
    EXPECT_FALSE(fs::exists(entryPath("folder")) || fs::exists(entryPath("gone")));
    std::string sizes;
    std::getline(std::ifstream{trash / "directorysizes"}, sizes);
    EXPECT_EQ(sizes, "4096 1 kept");
}

TEST_F(TrashBinTest, needsTheWord) {
    const std::string path = put("a");
    TrashBin bin;
    for (const std::optional<Text>& word : {std::optional<Text>{}, std::optional<Text>{"delete"}, {"DELETE "}}) {
        const auto results = bin.empty(itemsOf(bin), word, [](const DeletionItemResult&) { return true; });
        EXPECT_EQ(results.at(0).message, Text{"Type DELETE to confirm permanent removal."});
        EXPECT_TRUE(fs::exists(path));
    }
}

TEST_F(TrashBinTest, followsNoLink) {
    const std::string outside = folder.makeFile("outside/precious", "precious");
    fs::create_symlink(folder / "outside", trash / "files/link");
    fs::create_directory(trash / "files/folder");
    fs::create_symlink(folder / "outside", trash / "files/folder/link");
    TrashBin bin;
    for (const TrashedItem& item : itemsOf(bin)) EXPECT_TRUE(remove(bin, item).succeeded);
    EXPECT_TRUE(fs::exists(outside));
    EXPECT_TRUE(fs::is_empty(trash / "files"));
}

TEST_F(TrashBinTest, removesOnlyWhatWasListed) {
    const std::string path = put("a");
    TrashBin bin;
    TrashedItem item = itemsOf(bin).at(0);
    fs::rename(path, folder / "taken out");
    put("a", "another one");
    EXPECT_THAT(remove(bin, item).message.string(), HasSubstr("changed"));
    EXPECT_TRUE(fs::exists(path) && fs::exists(entryPath("a")));
    fs::remove(path);
    EXPECT_FALSE(remove(bin, item).succeeded);
    EXPECT_TRUE(fs::exists(entryPath("a")));

    const std::string outside = folder.makeFile("outside", "precious");
    for (const char* name : {"", ".", "..", "../../../outside", "/etc/hostname"}) {
        item.name = name;
        EXPECT_FALSE(remove(bin, item).succeeded) << name;
        item.item = std::nullopt;
        EXPECT_FALSE(remove(bin, item).succeeded) << name;
    }
    item.trash = 4711;
    EXPECT_FALSE(remove(bin, item).succeeded);
    EXPECT_TRUE(fs::exists(outside));
}

TEST_F(TrashBinTest, leavesAYoungEntryThatWaitsForItsItem) {
    entry("coming", "/home/anna/coming");
    makeOld(entryPath("coming"));
    TrashBin bin;
    const TrashedItem item = itemsOf(bin).at(0);
    entry("coming", "/home/anna/coming");  // written anew: it is another program's by now
    EXPECT_FALSE(remove(bin, item).succeeded);
    makeOld(entryPath("coming"));
    std::ofstream{trash / "files/coming"} << "x";
    EXPECT_FALSE(remove(bin, item).succeeded);
    EXPECT_TRUE(fs::exists(entryPath("coming")));
}

TEST_F(TrashBinTest, staysInTheFolderThatItFound) {
    put("a");
    fs::create_directories(folder / "elsewhere");
    const std::string outside = folder.makeFile("elsewhere/a", "precious");
    TrashBin bin;
    const auto items = itemsOf(bin);
    fs::rename(trash / "files", folder / "moved");
    fs::create_directory_symlink(folder / "elsewhere", trash / "files");
    EXPECT_TRUE(remove(bin, items.at(0)).succeeded);
    EXPECT_TRUE(fs::exists(outside));
    EXPECT_FALSE(fs::exists(folder / "moved/a"));
}

TEST_F(TrashBinTest, knowsNoTrashThatIsNotThisUsersAlone) {
    EXPECT_TRUE(isKnown(TrashBin{}));
    for (const fs::path& part : {trash, trash / "files", trash / "info"}) {
        fs::permissions(part, fs::perms::owner_all | fs::perms::group_write);
        EXPECT_FALSE(isKnown(TrashBin{})) << part;
        fs::permissions(part, fs::perms::owner_all);
        fs::rename(part, folder / "real");
        fs::create_directory_symlink(folder / "real", part);
        EXPECT_FALSE(isKnown(TrashBin{})) << part;
        fs::remove(part);
        std::ofstream{part} << "a file";
        EXPECT_FALSE(isKnown(TrashBin{})) << part;
        fs::remove(part);
        fs::rename(folder / "real", part);
    }
    if (::geteuid() == 0) {
        ASSERT_EQ(::chown((trash / "files").c_str(), 4711, 4711), 0);
        EXPECT_FALSE(isKnown(TrashBin{}));
    }
}

TEST_F(TrashBinTest, refusesWhatTheHostNeeds) {
    fs::create_directory(trash / "files/folder");
    std::ofstream{trash / "files/folder/database"} << "x";
    put("other");
    TrashBin bin{{{.path = trash / "files/folder/database", .reason = "It is needed."}}};
    const auto items = itemsOf(bin);
    const DeletionItemResult result = remove(bin, items.at(0));
    EXPECT_EQ(result.message, Text{"It is needed."});
    EXPECT_EQ(result.errorCase, KestrelError::Case::safetyViolation);
    EXPECT_TRUE(fs::exists(trash / "files/folder/database"));
    EXPECT_TRUE(remove(bin, items.at(1)).succeeded);
}

TEST_F(TrashBinTest, stopsWhereItIsTold) {
    put("a");
    put("b");
    TrashBin bin;
    EXPECT_EQ(bin.empty(itemsOf(bin), "DELETE", [](const DeletionItemResult&) { return false; }).size(), 1U);
    EXPECT_EQ(itemsOf(bin).size(), 1U);
    const CancellationToken cancelled;
    cancelled.cancel();
    EXPECT_TRUE(bin.empty(
                       itemsOf(bin), "DELETE", [](const DeletionItemResult&) { return true; }, cancelled)
                    .empty());
    EXPECT_EQ(itemsOf(bin).size(), 1U);
}

TEST_F(TrashBinTest, leavesNothingOfItsOwnWhateverEndsIt) {
    const auto hidden = [&] {
        return std::ranges::count_if(fs::directory_iterator{trash / "files"}, [](const fs::directory_entry& entry) {
            return entry.path().filename().string().starts_with(".kestrel-removing-");
        });
    };
    for (const char* name : {"a", "b", "c"}) put(name);
    fs::create_directory(trash / "files/folder");
    put("folder/inside");
    TrashBin bin;
    std::size_t told = 0;
    const auto stopping = [&](const DeletionItemResult&) {
        EXPECT_EQ(hidden(), 1);  // one for all of them
        return ++told < 2;
    };
    EXPECT_EQ(bin.empty(itemsOf(bin), "DELETE", stopping).size(), 2U);
    EXPECT_EQ(hidden(), 0);
    EXPECT_EQ(bin.empty(itemsOf(bin), "DELETE", [](const DeletionItemResult&) { return true; }).size(), 2U);
    EXPECT_TRUE(fs::is_empty(trash / "files"));
    EXPECT_TRUE(fs::is_empty(trash / "info"));
}

TEST_F(TrashBinTest, goesOnWhereSomebodyTakesItsFolderAway) {
    for (const char* name : {"a", "b", "c"}) put(name);
    TrashBin bin;
    const auto results = bin.empty(itemsOf(bin), "DELETE", [&](const DeletionItemResult& result) {
        EXPECT_TRUE(result.succeeded) << result.message.view();
        for (const fs::directory_entry& entry : fs::directory_iterator{trash / "files"}) {
            if (!entry.path().filename().string().starts_with(".kestrel-removing-")) continue;
            fs::remove(entry.path());
            if (result.path == Text{"/home/anna/a"}) fs::create_directory(entry.path());  // another's
            break;
        }
        return true;
    });
    EXPECT_EQ(results.size(), 3U);
}

TEST_F(TrashBinTest, asksEachItemWhatIsMountedInIt) {
    fs::create_directories(trash / "files/b/sub");
    put("a");
    put("c");
    inChild(ChildSetting::mountNamespace, [&] {
        TrashBin bin;
        const auto results = bin.empty(itemsOf(bin), "DELETE", [&](const DeletionItemResult& result) {
            if (result.path == Text{"/home/anna/a"} &&
                ::mount("none", (trash / "files/b/sub").c_str(), "tmpfs", 0, nullptr) == 0)
                std::ofstream{trash / "files/b/sub/precious"} << "x";
            return true;
        });
        if (!fs::exists(trash / "files/b/sub/precious")) GTEST_SKIP() << "file systems can't be mounted here";
        ASSERT_EQ(results.size(), 3U);
        EXPECT_TRUE(results[0].succeeded);
        EXPECT_FALSE(results[1].succeeded);
        EXPECT_THAT(results[1].message.string(), HasSubstr("A file system is mounted on it or in it."));
        EXPECT_TRUE(results[2].succeeded);
    });
}

TEST_F(TrashBinTest, leavesTheEntryOfAnItemThatCameToTheNameMeanwhile) {
    fs::create_directory(trash / "files/folder");
    std::ofstream{trash / "files/folder/inside"} << "x";
    TrashBin bin;
    const auto items = itemsOf(bin);
    ASSERT_EQ(items.at(0).state, TrashedItemState::withoutEntry);
    DeletionItemResult result{};
    // What is inside goes while the folder stands under another name.
    const bool isSupervised = runSupervised(
        {SYS_unlinkat}, [&] { result = remove(bin, items.at(0)); },
        [&](const SystemCall&) -> std::optional<int> {
            if (!fs::exists(trash / "files/folder")) put("folder", "another's");
            return std::nullopt;
        });
    if (!isSupervised) GTEST_SKIP() << "System calls can't be supervised here";
    EXPECT_TRUE(result.succeeded) << result.message.view();
    EXPECT_TRUE(fs::is_regular_file(trash / "files/folder"));
    EXPECT_TRUE(fs::exists(entryPath("folder")));
}

TEST_F(TrashBinTest, takesNoEntryForAloneWhereItemsCanNotBeRead) {
    inChild(ChildSetting::unprivileged, [] {
        const TemporaryFolder own;
        const EnvironmentSetting home{"XDG_DATA_HOME", (own / "data").c_str()};
        const fs::path here = own / "data/Trash";
        fs::create_directories(here / "files");
        fs::create_directories(here / "info");
        for (const fs::path& each : {here, here / "files", here / "info"}) fs::permissions(each, fs::perms::owner_all);
        std::ofstream{here / "files/a"} << "x";
        std::ofstream{here / "info/a.trashinfo"} << "[Trash Info]\nPath=/home/anna/a\nDeletionDate=" << date << "\n";
        makeOld(here / "info/a.trashinfo");
        const auto isHere = [&](const TrashedItem& item) { return item.place.starts_with(here.string()); };
        EXPECT_TRUE(std::ranges::any_of(TrashBin{}.items().items, isHere));
        fs::permissions(here / "files", fs::perms::owner_read | fs::perms::owner_write);
        const TrashBin::Listing listing = TrashBin{}.items();
        EXPECT_TRUE(std::ranges::none_of(listing.items, isHere));
        EXPECT_GT(listing.unread, 0U);
        fs::permissions(here / "files", fs::perms::owner_all);
    });
}

}  // namespace KestrelCore
