#include "Platform/POSIX/LocalFileManager.hpp"
#include "Platform/POSIX/Removal/ItemCalls.hpp"
#include "Platform/macOS/Frameworks/Foundation.hpp"
#include "Platform/macOS/Trash/Portable/FoundationTrash.hpp"

namespace KestrelCore {
namespace {

class StandardFileManager final : public LocalFileManager {
public:
    std::optional<URL> trashItem(const URL& url, const std::optional<ExpectedItem>& expected,
                                 const CancellationToken& cancellation) override {
        return moveToTrashThroughFoundation(url, expected, moveByFoundation, cancellation);
    }

protected:
    [[nodiscard]] bool isMarkedHidden(int folder, const char* name) const override {
        const auto status = statusIn(folder, name);
        return status && (status->st_flags & UF_HIDDEN) != 0;
    }
};

}  // namespace

std::shared_ptr<FileManager> FileManager::standard() {
    // It keeps nothing between calls, so that one will do for everybody and every thread.
    static const std::shared_ptr<FileManager> shared = std::make_shared<StandardFileManager>();
    return shared;
}

}  // namespace KestrelCore
