#include "Platform/ProcessTable.hpp"

#include "Base/BoundedRetry.hpp"
#include "Platform/Linux/Processes/ProcText.hpp"
#include "Platform/Linux/SystemReaders.hpp"
#include "Platform/POSIX/FileDescriptor.hpp"
#include "Platform/POSIX/Walk/DirectoryEntries.hpp"

#include <fcntl.h>
#include <memory>
#include <string>

namespace KestrelCore {
namespace {

class LinuxProcessTable final : public ProcessTable {
public:
    explicit LinuxProcessTable(const std::string& procFolder) : folder_{procFolder} {}

    void list(std::vector<std::int32_t>& identifiers) override {
        identifiers.clear();
        // Opened anew each time: the kernel lists the processes of the moment in which a folder is read from its start.
        const FileDescriptor folder{repeatedWhenInterrupted(
            [&] { return open(folder_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC | O_NONBLOCK); })};
        while (folder.isOpen() && listing_.readPiece(folder.get())) {
            while (const ListedEntry* entry = listing_.next()) {
                // Beside the processes the folder holds files of the kernel's, none of which is called like a number.
                if (const auto identifier = ProcText::processIdentifier(entry->name))
                    identifiers.push_back(*identifier);
            }
        }
        if (listing_.errorNumber() != 0) identifiers.clear();
    }

private:
    std::string folder_;
    DirectoryEntries listing_;  ///< its buffer serves every listing
};

}  // namespace

std::unique_ptr<ProcessTable> processTable(const std::string& procFolder) {
    return std::make_unique<LinuxProcessTable>(procFolder);
}

std::unique_ptr<ProcessTable> ProcessTable::system() { return processTable("/proc"); }

}  // namespace KestrelCore
