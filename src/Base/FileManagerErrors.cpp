#include "Base/FileManagerErrors.hpp"

#include "KestrelCore/Base/URL.hpp"

#include <cerrno>

namespace KestrelCore {
namespace {

/// The name between typographic quotation marks, as every sentence shows it.
Text quoted(const Text& name) { return Text::concatenating({"“", name.view(), "”"}); }

Text listSentence(const Text& name, int code) {
    switch (code) {
    case PlatformError::fileReadNoSuchFile: return Text::concatenating({"The folder ", name.view(), " doesn’t exist."});
    case PlatformError::fileReadNoPermission:
        return Text::concatenating(
            {"The folder ", name.view(), " couldn’t be opened because you don’t have permission to view it."});
    default: return Text::concatenating({"The folder ", name.view(), " couldn’t be opened."});
    }
}

Text readSentence(const Text& name, int code) {
    const std::string_view start = "The file ";
    switch (code) {
    case PlatformError::fileReadNoSuchFile:
        return Text::concatenating({start, name.view(), " couldn’t be opened because there is no such file."});
    case PlatformError::fileReadNoPermission:
        return Text::concatenating(
            {start, name.view(), " couldn’t be opened because you don’t have permission to view it."});
    case PlatformError::fileReadInvalidFileName:
        return Text::concatenating({start, name.view(), " couldn’t be opened because the file name is invalid."});
    case PlatformError::fileReadTooLarge:
        return Text::concatenating({start, name.view(), " couldn’t be opened because it is too large."});
    default: return Text::concatenating({start, name.view(), " couldn’t be opened."});
    }
}

Text createSentence(const Text& name, const Text& folder, const Text& volumeName, int code) {
    const Text start =
        Text::concatenating({"The file ", name.view(), " couldn’t be saved in the folder ", folder.view()});
    const Text volume =
        volumeName.isEmpty() ? Text{"the volume"} : Text::concatenating({"the volume ", quoted(volumeName).view()});
    switch (code) {
    case PlatformError::fileNoSuchFile: return Text::concatenating({"The folder ", folder.view(), " doesn’t exist."});
    case PlatformError::fileWriteNoPermission:
        return Text::concatenating(
            {"You don’t have permission to save the file ", name.view(), " in the folder ", folder.view(), "."});
    case PlatformError::fileWriteInvalidFileName:
        return Text::concatenating({start.view(), " because the file name is invalid."});
    case PlatformError::fileWriteFileExists:
        return Text::concatenating({start.view(), " because a file with the same name already exists."});
    case PlatformError::fileWriteOutOfSpace:
        return Text::concatenating(
            {"You can’t save the file ", name.view(), " because ", volume.view(), " is out of space."});
    case PlatformError::fileWriteVolumeReadOnly:
        return Text::concatenating(
            {"You can’t save the file ", name.view(), " because ", volume.view(), " is read only."});
    default: return Text::concatenating({start.view(), "."});
    }
}

Text awaySentence(const Text& name, std::string_view whatFailed, int code) {
    const std::string_view end =
        code == PlatformError::fileWriteNoPermission ? " because you don’t have permission to access it." : ".";
    return Text::concatenating({name.view(), whatFailed, end});
}

}  // namespace

int fileReadCode(int errorNumber) {
    switch (errorNumber) {
    case ENOENT: return PlatformError::fileReadNoSuchFile;
    case EPERM:
    case EACCES: return PlatformError::fileReadNoPermission;
    case ENAMETOOLONG: return PlatformError::fileReadInvalidFileName;
    case EFBIG: return PlatformError::fileReadTooLarge;
    default: return PlatformError::fileReadUnknown;
    }
}

int fileWriteCode(int errorNumber) {
    switch (errorNumber) {
    case ENOENT: return PlatformError::fileNoSuchFile;
    case EPERM:
    case EACCES: return PlatformError::fileWriteNoPermission;
    case ENAMETOOLONG: return PlatformError::fileWriteInvalidFileName;
    case EEXIST: return PlatformError::fileWriteFileExists;
    case ENOSPC:
    case EDQUOT: return PlatformError::fileWriteOutOfSpace;
    case EROFS: return PlatformError::fileWriteVolumeReadOnly;
    default: return PlatformError::fileWriteUnknown;
    }
}

PlatformError fileManagerError(FileOperation operation, const Text& path, int errorNumber, const Text& volumeName) {
    const bool isRead = operation == FileOperation::list || operation == FileOperation::read;
    const int code = isRead ? fileReadCode(errorNumber) : fileWriteCode(errorNumber);
    const Text name = quoted(Path::lastComponent(path));
    Text sentence;
    switch (operation) {
    case FileOperation::list: sentence = listSentence(name, code); break;
    case FileOperation::read: sentence = readSentence(name, code); break;
    case FileOperation::createDirectory:
        sentence =
            createSentence(name, quoted(Path::lastComponent(Path::deletingLastComponent(path))), volumeName, code);
        break;
    case FileOperation::remove: sentence = awaySentence(name, " couldn’t be removed", code); break;
    case FileOperation::trash: sentence = awaySentence(name, " couldn’t be moved to the trash", code); break;
    }
    return {PlatformError::Domain::fileManager, code, sentence,
            std::make_shared<const PlatformError>(PlatformError::posix(errorNumber))};
}

PlatformError noTrashError(const Text& path, const Text& volumeName) {
    return {PlatformError::Domain::fileManager, PlatformError::featureUnsupported,
            Text::concatenating({quoted(Path::lastComponent(path)).view(),
                                 " couldn’t be moved to the trash because the volume ", quoted(volumeName).view(),
                                 " doesn’t have one."})};
}

}  // namespace KestrelCore
