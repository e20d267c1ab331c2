#include "Platform/macOS/Trash/Portable/TrashRules.hpp"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>

namespace KestrelCore {
namespace {

std::string answer(std::uint32_t length, std::uint32_t returned, std::int64_t seconds) {
    std::string bytes(addedTimeAnswerBytes, '\0');
    std::memcpy(bytes.data(), &length, sizeof length);
    std::memcpy(bytes.data() + 4, &returned, sizeof returned);
    std::memcpy(bytes.data() + 24, &seconds, sizeof seconds);
    return bytes;
}

TEST(TrashRules, findTheTrashesOfAHome) {
    EXPECT_EQ(trashFoldersOfHome("/Users/anna").front(), "/Users/anna/.Trash");
    for (const std::string& path : trashFoldersOfHome("")) EXPECT_TRUE(path.starts_with('/')) << path;
}

TEST(TrashRules, tellATrashThatIsNotThereFromOneThatMayNotBeOpened) {
    for (const int error : {ENOENT, ENOTDIR, ELOOP}) EXPECT_TRUE(isAbsenceOfTrash(error)) << error;
    for (const int error : {EPERM, EACCES, EIO, EMFILE, EDEADLK}) EXPECT_FALSE(isAbsenceOfTrash(error)) << error;
}

TEST(TrashRules, takeOnlyWhatIsTheUsersAlone) {
    EXPECT_TRUE(isTrashOf(501, {.owner = 501, .mode = 0700, .isWithoutOwners = false}));
    EXPECT_TRUE(isTrashOf(501, {.owner = 501, .mode = 0755, .isWithoutOwners = false}));
    EXPECT_FALSE(isTrashOf(501, {.owner = 502, .mode = 0700, .isWithoutOwners = false}));
    EXPECT_FALSE(isTrashOf(501, {.owner = 501, .mode = 0720, .isWithoutOwners = false}));
    EXPECT_FALSE(isTrashOf(501, {.owner = 501, .mode = 0702, .isWithoutOwners = false}));
    // A stick that any machine may write to has no owners, and shows everything as everybody's.
    EXPECT_TRUE(isTrashOf(501, {.owner = 99, .mode = 0777, .isWithoutOwners = true}));
}

TEST(TrashRules, leaveFindersOwnNotesOut) {
    EXPECT_FALSE(isTrashedName(".DS_Store"));
    EXPECT_FALSE(isTrashedName(".localized"));
    EXPECT_TRUE(isTrashedName(".hidden"));
    EXPECT_TRUE(isTrashedName("DS_Store"));
}

TEST(AddedTime, isReadFromAWholeAnswerOnly) {
    constexpr std::uint32_t addedTime = 0x10000000;
    const std::string good = answer(addedTimeAnswerBytes, addedTime, 1'700'000'000);
    EXPECT_EQ(addedTimeOf(good), 1'700'000'000);
    for (std::size_t size = 0; size < good.size(); ++size) EXPECT_FALSE(addedTimeOf(good.substr(0, size)));
    EXPECT_FALSE(addedTimeOf(answer(24, addedTime, 1'700'000'000)));
    EXPECT_FALSE(addedTimeOf(answer(addedTimeAnswerBytes, 0, 1'700'000'000)));
    EXPECT_FALSE(addedTimeOf(answer(addedTimeAnswerBytes, addedTime, 0)));
    EXPECT_FALSE(addedTimeOf(answer(addedTimeAnswerBytes, addedTime, -1)));
    EXPECT_FALSE(addedTimeOf(answer(addedTimeAnswerBytes, addedTime, INT64_MAX)));
}

}  // namespace
}  // namespace KestrelCore
