#pragma once

#include "KestrelCore/Platform/FileManager.hpp"

namespace KestrelCore {

/// Everything that the standard file manager of each system does alike; the Trash is each one's own.
class LocalFileManager : public FileManager {
public:
    [[nodiscard]] bool isReadable(const Text& path) const override;
    [[nodiscard]] bool exists(const Text& path) const override;
    [[nodiscard]] std::vector<Text> contentsOfDirectory(const Text& path) const override;
    [[nodiscard]] std::vector<URL> contentsOfDirectory(const URL& url, bool skipsHidden) const override;
    bool enumerate(const URL& url,
                   const std::function<bool(const URL&, std::optional<std::int64_t>)>& visit) const override;
    [[nodiscard]] std::optional<std::int64_t> allocatedBytesBelow(const URL& url) const override;
    [[nodiscard]] std::optional<std::int64_t> allocatedBytes(const URL& url) const override;
    void createDirectory(const URL& url) override;
    std::optional<Text> removeItem(const URL& url, const std::optional<ExpectedItem>& expected,
                                   const CancellationToken& cancellation) override;
    [[nodiscard]] Text homeDirectory() const override;

protected:
    /// Whether the item `name` in the open folder is one that the system hides by a mark of its own.
    [[nodiscard]] virtual bool isMarkedHidden(int folder, const char* name) const;
};

}  // namespace KestrelCore
