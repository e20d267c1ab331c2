#include "Platform/ProcessTable.hpp"

#include "Platform/Linux/Processes/ProcText.hpp"
#include "Platform/Linux/SystemReaders.hpp"

#include <dirent.h>
#include <memory>
#include <string>

namespace KestrelCore {
namespace {

struct CloseFolder {
    void operator()(DIR* folder) const { closedir(folder); }
};

class LinuxProcessTable final : public ProcessTable {
public:
    explicit LinuxProcessTable(const std::string& procFolder) : folder_{procFolder} {}

    void list(std::vector<std::int32_t>& identifiers) override {
        identifiers.clear();
        // Opened anew each time: the kernel lists the processes of the moment in which a folder is read from its start.
        const std::unique_ptr<DIR, CloseFolder> folder{opendir(folder_.c_str())};
        if (folder == nullptr) return;
        while (const dirent* entry = readdir(folder.get())) {
            // Beside the processes the folder holds files of the kernel's, none of which is called like a number.
            if (const auto identifier = ProcText::processIdentifier(entry->d_name)) identifiers.push_back(*identifier);
        }
    }

private:
    std::string folder_;
};

}  // namespace

std::unique_ptr<ProcessTable> processTable(const std::string& procFolder) {
    return std::make_unique<LinuxProcessTable>(procFolder);
}

std::unique_ptr<ProcessTable> ProcessTable::system() { return processTable("/proc"); }

}  // namespace KestrelCore
