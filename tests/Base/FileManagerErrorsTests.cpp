#include "Base/FileManagerErrors.hpp"

#include <gtest/gtest.h>

#include <cerrno>

namespace KestrelCore {

TEST(FileManagerErrors, mapErrnoValuesToTheCodesOfReadingAndWriting) {
    struct Case {
        int errorNumber;
        int readCode;
        int writeCode;
    };
    for (const Case& expected :
         {Case{ENOENT, 260, 4}, Case{EPERM, 257, 513}, Case{EACCES, 257, 513}, Case{ENAMETOOLONG, 258, 514},
          Case{EFBIG, 263, 512}, Case{EEXIST, 256, 516}, Case{ENOSPC, 256, 640}, Case{EDQUOT, 256, 640},
          Case{EROFS, 256, 642}, Case{EIO, 256, 512}, Case{ENOTEMPTY, 256, 512}, Case{ENOTDIR, 256, 512}}) {
        EXPECT_EQ(fileReadCode(expected.errorNumber), expected.readCode) << expected.errorNumber;
        EXPECT_EQ(fileWriteCode(expected.errorNumber), expected.writeCode) << expected.errorNumber;
    }
}

TEST(FileManagerErrors, nameTheItemInAFinishedSentence) {
    struct Case {
        FileOperation operation;
        int errorNumber;
        const char* sentence;
    };
    for (const Case& expected : {
             Case{FileOperation::remove, EACCES,
                  "“new.txt” couldn’t be removed because you don’t have permission to access it."},
             Case{FileOperation::remove, EPERM,
                  "“new.txt” couldn’t be removed because you don’t have permission to access it."},
             Case{FileOperation::remove, EBUSY, "“new.txt” couldn’t be removed."},
             Case{FileOperation::trash, EACCES,
                  "“new.txt” couldn’t be moved to the trash because you don’t have permission to access it."},
             Case{FileOperation::trash, EXDEV, "“new.txt” couldn’t be moved to the trash."},
             Case{FileOperation::createDirectory, EACCES,
                  "You don’t have permission to save the file “new.txt” in the folder “folder”."},
             Case{FileOperation::createDirectory, ENOSPC,
                  "You can’t save the file “new.txt” because the volume “V” is out of space."},
             Case{FileOperation::createDirectory, EROFS,
                  "You can’t save the file “new.txt” because the volume “V” is read only."},
             Case{FileOperation::list, ENOENT, "The folder “new.txt” doesn’t exist."},
             Case{FileOperation::read, EACCES,
                  "The file “new.txt” couldn’t be opened because you don’t have permission to view it."},
         }) {
        const PlatformError error = fileManagerError(expected.operation, "/folder/new.txt", expected.errorNumber, "V");
        EXPECT_EQ(error.description(), expected.sentence);
        ASSERT_NE(error.underlying(), nullptr);
        EXPECT_EQ(error.underlying()->code(), expected.errorNumber);
        EXPECT_EQ(error.underlying()->description(), systemErrorText(expected.errorNumber));
    }
}

TEST(FileManagerErrors, aVolumeWithoutTrashIsNamed) {
    const PlatformError error = noTrashError("/mnt/stick/a", "stick");
    EXPECT_EQ(error.code(), 3328);
    EXPECT_EQ(error.description(), "“a” couldn’t be moved to the trash because the volume “stick” doesn’t have one.");
    EXPECT_EQ(error.underlying(), nullptr);
}

TEST(PlatformError, ofAnErrnoValueCarriesTheSystemsText) {
    const PlatformError error = PlatformError::posix(ENOENT);
    EXPECT_EQ(error.domain(), PlatformError::Domain::posix);
    EXPECT_EQ(error.code(), ENOENT);
    EXPECT_EQ(error.description(), "No such file or directory");
    EXPECT_STREQ(error.what(), "No such file or directory");
}

}  // namespace KestrelCore
