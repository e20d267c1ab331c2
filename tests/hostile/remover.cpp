// Takes one item away, for the hostile tests, which stop and kill this program at each of its system calls:
//
//     kestrel-remover permanent|trash PATH DEVICE INODE KIND    through the library's coordinator, as a host would
//     kestrel-remover empty PATH DEVICE INODE KIND              the item at PATH in a trash, and nothing else of that
//     kestrel-remover naive PATH                                as everybody's first remover does it: check, then act
//
// DEVICE, INODE and KIND (a raw value) are what a scan found earlier. Prints the result's message; exits with 0 when
// the item is gone.

#include "KestrelCore/Deletion/DeletionCoordinator.hpp"
#include "KestrelCore/Deletion/TrashBin.hpp"
#include "KestrelCore/Platform/FileManager.hpp"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using namespace KestrelCore;

int removeThroughTheLibrary(DeletionMode mode, char** arguments) {
    const FileIdentity identity{std::strtoull(arguments[1], nullptr, 10), std::strtoull(arguments[2], nullptr, 10)};
    const Text path{arguments[0]};
    const FileRecord record{{.id = UUID::random(),
                             .identity = identity,
                             .parentPath = Path::deletingLastComponent(path),
                             .path = path,
                             .name = Path::lastComponent(path),
                             .kind = fromRawValue<FileKind>(std::atoi(arguments[3])).value()}};
    DeletionCoordinator coordinator{FileManager::standard()};
    const DeletionItemResult result = coordinator.execute({{record}, mode, "DELETE"}).front();
    std::printf("%s\n", result.message.string().c_str());
    if (result.resultingPath) std::printf("%s\n", result.resultingPath->string().c_str());
    return result.succeeded ? 0 : 1;
}

/// This machine's other trashes are listed, too, and left alone.
int removeFromTrash(char** arguments) {
    TrashBin bin;
    for (TrashedItem& item : bin.items().items) {
        if (item.place != arguments[0]) continue;
        if (item.item) {
            item.item->device = std::strtoull(arguments[1], nullptr, 10);
            item.item->inode = std::strtoull(arguments[2], nullptr, 10);
        }
        const DeletionItemResult result =
            bin.empty({item}, "DELETE", [](const DeletionItemResult&) { return true; }).front();
        std::printf("%s\n", result.message.string().c_str());
        return result.succeeded ? 0 : 1;
    }
    std::printf("No trash lists it.\n");
    return 1;
}

/// Looks whether each name is a link before it goes on with it: not enough, and here to show that.
bool removeNaively(const std::string& path) {
    struct stat status {};
    if (lstat(path.c_str(), &status) != 0) return false;
    if (!S_ISDIR(status.st_mode)) return unlink(path.c_str()) == 0;
    DIR* folder = opendir(path.c_str());
    if (folder == nullptr) return false;
    while (const dirent* entry = readdir(folder)) {
        if (std::strcmp(entry->d_name, ".") != 0 && std::strcmp(entry->d_name, "..") != 0)
            removeNaively(path + "/" + entry->d_name);
    }
    closedir(folder);
    return rmdir(path.c_str()) == 0;
}

}  // namespace

int main(int argc, char** argv) {
    const std::string mode = argc > 2 ? argv[1] : "";
    if (mode == "naive" && argc == 3) return removeNaively(argv[2]) ? 0 : 1;
    if (mode == "empty" && argc == 6) return removeFromTrash(argv + 2);
    const auto known = fromRawValue<DeletionMode>(mode);
    if (!known || argc != 6) {
        std::fputs("usage: kestrel-remover permanent|trash|empty PATH DEVICE INODE KIND\n", stderr);
        return 2;
    }
    return removeThroughTheLibrary(*known, argv + 2);
}
