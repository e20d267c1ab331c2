#include "Platform/Vocabulary.hpp"

#include "Base/RefusalSentences.hpp"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace KestrelCore {
namespace {

std::vector<Text> sentences(const Vocabulary& words) {
    // By a binding of all members: one that is added and not looked at here does not compile.
    const auto& [neverRemoved, managed, symbolicLink, unreadableRoot, missingRoot, refusedApplication, protectedProcess,
                 permission] = words;
    return {neverRemoved,     managed,
            symbolicLink,     unreadableRoot,
            missingRoot,      refusedApplication,
            protectedProcess, permission.value_or("None.")};
}

TEST(Vocabulary, ofMacOSIsTheReferenceToTheLetter) {
    const Vocabulary& words = macOSVocabulary();
    EXPECT_EQ(words.neverRemoved, "Kestrel never removes a disk, Applications folder, or home-directory root.");
    EXPECT_EQ(words.managed, "This location is managed by macOS and is view-only in Kestrel.");
    EXPECT_EQ(words.symbolicLink, "The path contains a symbolic link and must be reviewed in Finder.");
    EXPECT_EQ(words.unreadableRoot, "Grant Full Disk Access and try again.");
    EXPECT_EQ(words.missingRoot, "Grant Full Disk Access and try again.");
    EXPECT_EQ(words.refusedApplication,
              "macOS blocked app deletion. Allow Kestrel in Privacy & Security → App Management (allow Terminal while "
              "using this local preview), then try again.");
    EXPECT_EQ(words.protectedProcess, "Kestrel protects itself and critical macOS processes.");
    EXPECT_EQ(words.wholeDiskPermission, Text{"Full Disk Access"});
}

TEST(Vocabulary, ofLinuxNamesNothingOfAnotherSystem) {
    for (const Text& sentence : sentences(systemVocabulary())) {
        EXPECT_FALSE(sentence.isEmpty());
        EXPECT_TRUE(sentence.view().ends_with('.')) << sentence.view();
        for (const char* foreign : {"macos", "finder", "system settings", "privacy", "full disk", "applications folder",
                                    "app management", "terminal", "bundle", "mac "}) {
            EXPECT_EQ(sentence.lowercased().view().find(foreign), std::string_view::npos) << sentence.view();
        }
    }
    EXPECT_FALSE(systemVocabulary().wholeDiskPermission.has_value());
}

TEST(Vocabulary, ofLinuxSaysWhatHelpsThere) {
    const Vocabulary& words = systemVocabulary();
    EXPECT_EQ(words.managed, "This location is managed by Linux and is view-only in Kestrel.");
    EXPECT_EQ(words.symbolicLink, "The path contains a symbolic link and must be reviewed in your file manager.");
    EXPECT_EQ(words.unreadableRoot, "You have no permission for this folder; its owner or root has.");
    EXPECT_EQ(words.protectedProcess, "Kestrel protects itself and critical system processes.");
}

}  // namespace
}  // namespace KestrelCore
