#include "output/ApplicationList.hpp"

#include <gtest/gtest.h>

#include <functional>
#include <sstream>
#include <string>
#include <vector>

using namespace KestrelCore;

namespace KestrelCLI {

namespace {

ApplicationRecord anApplication(const char* name, std::optional<Text> identifier = std::nullopt, std::int64_t bytes = 0,
                                std::optional<Text> version = std::nullopt) {
    ApplicationRecord record{.id = UUID::random(),
                             .url = URL::fromPath(Text::concatenating({"/Applications/", name, ".app"}), true),
                             .displayName = name,
                             .bundleIdentifier = std::move(identifier),
                             .version = std::move(version),
                             .residues = {}};
    if (bytes > 0)
        record.residues.push_back({.id = UUID::random(),
                                   .url = URL::fromPath(Text::concatenating({"/home/.cache/", name})),
                                   .allocatedBytes = bytes,
                                   .confidence = ResidueConfidence::uncertain,
                                   .evidence = "Name match: x"});
    return record;
}

std::string names(const std::vector<ApplicationRecord>& applications) {
    std::string names;
    for (const ApplicationRecord& application : applications) names += application.displayName.string() + "|";
    return names;
}

/// What a command prints, on a terminal or not.
template <typename Show>
std::string printed(bool isTerminal, const Show& show) {
    std::ostringstream out;
    std::ostringstream messages;
    const Session session{.out = out,
                          .messages = messages,
                          .terminal = {.isOutput = isTerminal},
                          .options = {.store = {}, .at = {}, .color = ColorChoice::never}};
    show(session);
    EXPECT_EQ(messages.str(), "");
    return out.str();
}

}  // namespace

TEST(ApplicationList, aNameMeansTheApplicationsThatAreCalledThat) {
    const std::vector<ApplicationRecord> all{anApplication("Notes", "com.example.notes"),
                                             anApplication("Notes Helper", "com.example.helper"),
                                             anApplication("STRASSE")};
    EXPECT_EQ(names(applicationsNamed("notes", all)), "Notes|");
    EXPECT_EQ(names(applicationsNamed("COM.EXAMPLE.HELPER", all)), "Notes Helper|");
    EXPECT_EQ(names(applicationsNamed("straße", all)), "STRASSE|");
    EXPECT_EQ(names(applicationsNamed("help", all)), "Notes Helper|");
    EXPECT_EQ(names(applicationsNamed("note", all)), "Notes|Notes Helper|");
    EXPECT_EQ(names(applicationsNamed("", all)), "");
    EXPECT_EQ(names(applicationsNamed("example", all)), "");
}

TEST(ApplicationList, sortsBySizeOrByName) {
    std::vector<ApplicationRecord> all{anApplication("App 10"), anApplication("App 2", {}, 5),
                                       anApplication("App 1", {}, 7), anApplication("App 3")};
    sortApplications(all, ApplicationOrder::size);
    EXPECT_EQ(names(all), "App 1|App 2|App 3|App 10|");
    sortApplications(all, ApplicationOrder::name);
    EXPECT_EQ(names(all), "App 1|App 2|App 3|App 10|");
}

TEST(ApplicationList, showsNamesWithVisibleEscapesOnATerminal) {
    const std::vector<ApplicationRecord> all{anApplication("Evil\x1b[31m\n", "id\x07", 1'500, "1\r")};
    const auto showAll = [](const Session& session, const std::vector<ApplicationRecord>& applications) {
        showResidues(session, applications, {Text{"apt remove \x1b[31m"}});
    };
    using Show = std::function<void(const Session&, const std::vector<ApplicationRecord>&)>;
    for (const Show& show : {Show{showApplications}, Show{showAll}}) {
        const std::string text = printed(true, [&](const Session& session) { show(session, all); });
        EXPECT_NE(text.find("Evil\\x1b[31m\\n"), std::string::npos) << text;
        EXPECT_EQ(text.find_first_of("\x1b\x07\r"), std::string::npos) << text;
        EXPECT_NE(text.find("1.50 kB"), std::string::npos) << text;
    }
}

TEST(ApplicationList, sumsWhatWasLeftBehind) {
    const std::vector<ApplicationRecord> all{anApplication("A", {}, 1'000), anApplication("B", {}, 2'000),
                                             anApplication("C")};
    const std::string text = printed(false, [&](const Session& session) { showApplications(session, all); });
    EXPECT_NE(text.find("3 applications, 2 residues, 3.00 kB\n"), std::string::npos) << text;
}

TEST(ApplicationList, saysWhatAnApplicationLeftBehindAndWhetherItIsChosen) {
    const std::string text = printed(false, [](const Session& session) {
        showResidues(session, {anApplication("A", {}, 1'000), anApplication("B")});
    });
    EXPECT_NE(text.find("/home/.cache/A  no"), std::string::npos) << text;
    EXPECT_NE(text.find("Name match: x"), std::string::npos) << text;
    EXPECT_NE(text.find("Nothing was left behind."), std::string::npos) << text;
}

TEST(ApplicationList, writesEveryFieldAndLeavesOutWhatIsAbsent) {
    std::ostringstream out;
    JSONOutput json{out};
    writeApplications(json, {anApplication("A", "com.a", 1'000, "1.2"), anApplication("B")});
    json.finish();
    EXPECT_EQ(out.str(),
              R"({"schema": 1, "applications": [{"name": "A", "identifier": "com.a", "version": "1.2", )"
              R"("path": "/Applications/A.app", "estimatedBytes": 1000, "residues": [{"path": "/home/.cache/A", )"
              R"("allocatedBytes": 1000, "confidence": "uncertain", "evidence": "Name match: x", )"
              R"("selectedByDefault": false}]}, {"name": "B", "path": "/Applications/B.app", "estimatedBytes": 0, )"
              R"("residues": []}]})"
              "\n");
}

}  // namespace KestrelCLI
