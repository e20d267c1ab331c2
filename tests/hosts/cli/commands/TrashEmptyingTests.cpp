#include "commands/Commands.hpp"
#include "commands/TrashEmptying.hpp"

#include "KestrelCore/Deletion/TrashReceipts.hpp"
#include "support/HistoryCommandTest.hpp"
#include "support/StandardInput.hpp"

#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <sstream>
#include <utility>

namespace KestrelCLI {

namespace fs = std::filesystem;

namespace {

using namespace KestrelCore;
using ::testing::HasSubstr;
using ::testing::Not;

/// `--empty` is about every volume of this machine. So what is emptied here went in 1979, before anybody's trash, and a
/// look beforehand shows that nothing else did.
class TrashEmptying : public HistoryCommandTest {
protected:
    void SetUp() override {
        const CommandRun others = run({"--dry-run", "--json"});
        if (!others.out.starts_with("{\"schema\": 1, \"plan\": []")) GTEST_SKIP() << "a trash here has such old items";
    }
    [[nodiscard]] CommandRun run(std::vector<std::string> arguments, const Terminal& terminal = {}) const {
        arguments.insert(arguments.begin(), {"trash", "--empty", "--older-than", "1980-01-01"});
        return runCommands(std::move(arguments), commands_, terminal);
    }
    [[nodiscard]] CommandRun plainRun(const std::vector<std::string>& arguments) const {
        return runCommands(arguments, commands_);
    }
    /// Trashes a new file, as if that had been in 1979.
    void trashOld(const std::string& name) const {
        const std::string path = folder_.makeFile(name, std::string(5000, 'x'));
        ASSERT_EQ(plainRun({"trash", "--yes", path}).code, ExitCode::done);
        const fs::path entry = data_ / ("Trash/info/" + name + ".trashinfo");
        std::ostringstream text;
        text << std::ifstream{entry}.rdbuf();
        std::string changed = text.str();
        changed.replace(changed.find("DeletionDate=") + 13, 4, "1979");
        std::ofstream{entry} << changed;
    }
    [[nodiscard]] std::size_t receipts() const {
        return TrashReceipts{data_.path() + "/kestrel/receipts"}.receipts().size();
    }
    [[nodiscard]] bool isInTrash(const std::string& name) const { return fs::exists(data_ / ("Trash/files/" + name)); }

private:
    std::vector<CommandAdder> commands_{addTrashCommand, addRestoreCommand, addScanCommand, addListCommand};
};

/// Takes what is written, and acts once at each of some texts.
class WatchedOutput final : public std::stringbuf {
public:
    explicit WatchedOutput(std::map<std::string, std::function<void()>> acts) : acts_{std::move(acts)} {}

protected:
    std::streamsize xsputn(const char* text, std::streamsize length) override {
        const std::string written(text, static_cast<std::size_t>(length));
        for (auto& [part, act] : acts_) {
            if (act && written.find(part) != std::string::npos) std::exchange(act, nullptr)();
        }
        return std::stringbuf::xsputn(text, length);
    }

private:
    std::map<std::string, std::function<void()>> acts_;
};

}  // namespace

TEST_F(TrashEmptying, showsThePlanAndTouchesNothingInADryRun) {
    trashOld("old");
    ASSERT_EQ(plainRun({"trash", "--yes", folder_.makeFile("new")}).code, ExitCode::done);
    const CommandRun shown = run({"--dry-run"});
    EXPECT_EQ(shown.code, ExitCode::done);
    EXPECT_THAT(shown.out, HasSubstr(data_ / "Trash"));
    EXPECT_THAT(shown.out, HasSubstr(folder_ / "old"));
    EXPECT_THAT(shown.out, HasSubstr("1979-"));
    EXPECT_THAT(shown.out, Not(HasSubstr(folder_ / "new")));
    EXPECT_THAT(shown.out, HasSubstr("1 item (8.19 kB) would go for good; nothing was touched."));
    EXPECT_TRUE(isInTrash("old"));
}

TEST_F(TrashEmptying, needsTheWord) {
    trashOld("old");
    const CommandRun nobody = run({});
    EXPECT_EQ(nobody.code, ExitCode::wrongUsage);
    EXPECT_THAT(nobody.messages, HasSubstr("--confirm DELETE answers instead."));
    EXPECT_THAT(messagesOf(run({"--confirm", "delete"}), ExitCode::wrongUsage), HasSubstr("the word is DELETE"));
    EXPECT_EQ(run({"--yes"}).code, ExitCode::wrongUsage);
    {
        const StandardInput input{"yes\n"};
        const CommandRun declined = run({}, Terminal{.isInput = true});
        EXPECT_EQ(declined.code, ExitCode::failed);
        EXPECT_THAT(declined.messages, HasSubstr("Type DELETE to remove 1 item (8.19 kB) for good:"));
        EXPECT_THAT(declined.messages, HasSubstr(folder_ / "old"));  // what is agreed to is seen
    }
    EXPECT_TRUE(isInTrash("old"));
    const StandardInput input{"DELETE\n"};
    EXPECT_EQ(run({}, Terminal{.isInput = true}).code, ExitCode::done);
    EXPECT_FALSE(isInTrash("old"));
}

TEST_F(TrashEmptying, dropsTheReceiptsOfWhatIsGone) {
    trashOld("old");
    ASSERT_EQ(plainRun({"trash", "--yes", folder_.makeFile("new")}).code, ExitCode::done);
    EXPECT_EQ(receipts(), 2U);
    const CommandRun emptied = run({"--confirm", "DELETE"});
    EXPECT_EQ(emptied.code, ExitCode::done) << emptied.out << emptied.messages;
    EXPECT_THAT(emptied.out, HasSubstr("Removed 1 item from the Trash (8.19 kB)."));
    EXPECT_FALSE(isInTrash("old"));
    EXPECT_TRUE(isInTrash("new"));
    EXPECT_EQ(receipts(), 1U);
    EXPECT_THAT(plainRun({"restore", "--gone"}).out, Not(HasSubstr(folder_ / "old")));
    EXPECT_THAT(run({"--confirm", "DELETE"}).out, HasSubstr("Nothing in the Trash is that old."));
}

TEST_F(TrashEmptying, keepsTheReceiptOfWhatCameToAFreedName) {
    trashOld("old");
    trashOld("other");
    const std::string another = folder_.makeFile("another");
    const std::string newcomer = folder_.makeFile("sub/old", "precious");
    WatchedOutput output{{{data_ / "Trash",  // the plan
                           [&] { fs::rename(another, data_ / "Trash/files/other"); }},
                          {"changed since the scan",  // by then the first one is gone
                           [&] {
                               EXPECT_EQ(plainRun({"trash", "--yes", newcomer}).code, ExitCode::done);
                           }}}};
    std::ostream out{&output};
    std::ostringstream messages;
    Session session{.out = out, .messages = messages, .terminal = {}, .options = {}};
    EXPECT_EQ(emptyTrash(session, {.olderThan = "1980-01-01", .confirmation = "DELETE"}), ExitCode::failed);
    EXPECT_FALSE(fs::exists(newcomer)) << output.str();
    EXPECT_TRUE(isInTrash("old"));
    EXPECT_THAT(plainRun({"restore", "--gone"}).out, Not(HasSubstr(folder_ / "old")));
    EXPECT_EQ(plainRun({"restore", newcomer}).code, ExitCode::done);
    EXPECT_TRUE(fs::exists(newcomer));
}

TEST_F(TrashEmptying, takesAgesAsASearchDoes) {
    trashOld("old");
    for (const char* age : {"1979", "1979-01"})
        EXPECT_THAT(plainRun({"trash", "--empty", "--dry-run", "--json", "--older-than", age}).out,
                    HasSubstr("\"plan\": []"))
            << age;
    for (const char* age : {"1980", "1980-01"})
        EXPECT_THAT(plainRun({"trash", "--empty", "--dry-run", "--older-than", age}).out,
                    HasSubstr("1 item (8.19 kB) would go"))
            << age;
}

TEST_F(TrashEmptying, takesWhatIsGoneOutOfTheSavedScan) {
    trashOld("old");
    ASSERT_EQ(plainRun({"scan", data_.path()}).code, ExitCode::done);
    const std::vector<std::string> list{"list", "--all", data_ / "Trash/files"};
    EXPECT_THAT(plainRun(list).out, HasSubstr("old"));
    ASSERT_EQ(run({"--confirm", "DELETE"}).code, ExitCode::done);
    EXPECT_THAT(plainRun(list).out, Not(HasSubstr("old")));
}

TEST_F(TrashEmptying, printsOneJSONObject) {
    trashOld("old");
    const CommandRun emptied = run({"--json", "--confirm", "DELETE"});
    EXPECT_EQ(emptied.code, ExitCode::done);
    EXPECT_TRUE(emptied.out.starts_with("{\"schema\": 1, \"plan\": [{\"trash\": ")) << emptied.out;
    EXPECT_THAT(emptied.out, HasSubstr("\"state\": \"whole\""));
    EXPECT_THAT(emptied.out, HasSubstr("\"succeeded\": true"));
    EXPECT_THAT(emptied.out, HasSubstr("\"reclaimableBytes\": 8192}"));
    EXPECT_EQ(std::ranges::count(emptied.out, '\n'), 1);
}

TEST_F(TrashEmptying, takesNoContradictingOptions) {
    EXPECT_EQ(run({"path"}).code, ExitCode::wrongUsage);
    for (const std::vector<std::string>& wrong : {std::vector<std::string>{"trash"},
                                                  {"trash", "--older-than", "1d", "a"},
                                                  {"trash", "--confirm", "DELETE", "a"},
                                                  {"trash", "--empty", "--older-than", "soon"},
                                                  {"trash", "--empty", "--older-than", "12"}}) {
        EXPECT_EQ(plainRun(wrong).code, ExitCode::wrongUsage) << wrong.back();
    }
}

}  // namespace KestrelCLI
