#include "Platform/Linux/Trash/Trash.hpp"
#include "Platform/POSIX/LocalFileManager.hpp"

namespace KestrelCore {
namespace {

class StandardFileManager final : public LocalFileManager {
public:
    std::optional<URL> trashItem(const URL& url, const std::optional<ExpectedItem>& expected,
                                 const CancellationToken& cancellation) override {
        return moveToTrash(url, expected, sizes_, cancellation);
    }

    void beginRequest() override { sizes_.begin(); }
    void endRequest() override { sizes_.end(); }

private:
    TrashSizes sizes_;
};

}  // namespace

std::shared_ptr<FileManager> FileManager::standard() {
    // It keeps nothing between calls, so that one will do for everybody and every thread.
    static const std::shared_ptr<FileManager> shared = std::make_shared<StandardFileManager>();
    return shared;
}

}  // namespace KestrelCore
