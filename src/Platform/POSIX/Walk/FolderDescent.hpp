#pragma once

#include "Platform/POSIX/Walk/FolderOnMount.hpp"

#include <cstddef>
#include <cstdint>
#include <string>
#include <sys/types.h>
#include <vector>

namespace KestrelCore {

/// The way from a folder down to one below it, as a list: depth costs memory and no stack. Only the lowest folders stay
/// open. Going up, a closed one is opened as ".." of the one below and must have the identity that it had before.
class FolderDescent {
public:
    /// `top` must be open for reading.
    explicit FolderDescent(FileDescriptor top);

    /// The lowest folder; always open.
    [[nodiscard]] int folder() const { return levels_.back().folder.get(); }
    [[nodiscard]] const std::string& name() const { return levels_.back().name; }  ///< empty at the top
    [[nodiscard]] std::size_t depth() const { return levels_.size(); }             ///< 1 at the top
    /// Whether the lowest folder was closed and opened again since it was entered: its listing starts anew.
    [[nodiscard]] bool takeWasReopened();

    /// Enters the folder `name` in the lowest one. 0, or an errno value as `openFolderOnSameMount` gives it.
    [[nodiscard]] int enter(std::string name);
    /// Goes up one level. False when the folder above is not where it was; the descent is then at its top, if anywhere.
    [[nodiscard]] bool leave();
    void returnToTop();

    /// The path of `entry` in the lowest folder, relative to the top; raw bytes.
    [[nodiscard]] std::string pathOf(const std::string& entry) const;

private:
    struct Level {
        FileDescriptor folder;  ///< closed while too many are open
        std::string name;
        dev_t device = 0;  ///< of a closed folder
        ino_t inode = 0;
        bool wasReopened = false;
    };
    bool closeOldest();

    std::vector<Level> levels_;
    std::size_t openLevels_ = 1;
    std::uint64_t mount_ = 0;
};

}  // namespace KestrelCore
