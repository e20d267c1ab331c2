#pragma once

#include "KestrelCore/Scanning/DiskAccount.hpp"
#include "Platform/DeletedOpenFiles.hpp"
#include "Platform/FileSystems.hpp"

#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace KestrelCore {

/// What an account asks: tests bring their own. `space` may be left behind on a thread of its own.
struct DiskAccountSources {
    std::function<std::optional<FileSystemLayout>(const std::string&)> layout;
    std::function<std::optional<FileSystemSpace>(const std::string&)> space;
    std::function<std::vector<DeletedOpenFile>(const std::string&)> deletedOpen;
    std::chrono::milliseconds patience{500};  ///< with each other file system

    [[nodiscard]] static DiskAccountSources ofThisSystem();
};

[[nodiscard]] std::optional<DiskAccount> diskAccount(const ScanSnapshot& snapshot, const ScanOptions& options,
                                                     const DiskAccountSources& sources);

}  // namespace KestrelCore
