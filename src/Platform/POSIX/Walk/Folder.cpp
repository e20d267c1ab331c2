#include "Platform/POSIX/Walk/Folder.hpp"

#include <algorithm>
#include <iterator>
#include <utility>

// Two trees without recursion, since both follow what stands on a disk, which can be deeper than a stack: the names
// that are not read ahead, and the folders that are let go of.

namespace KestrelCore {

const NotEntered* NotEntered::find(std::string_view folderName) const noexcept {
    const auto found =
        std::find_if(below.begin(), below.end(), [&](const auto& node) { return node.name == folderName; });
    return found == below.end() ? nullptr : &*found;
}

NotEntered NotEntered::tree(std::string_view root, const std::vector<std::string>& paths) {
    NotEntered top;
    for (const std::string_view path : paths) {
        if (!path.starts_with(root)) continue;
        std::string_view rest = path.substr(root.size());
        // "/home/annabel" begins with "/home/anna" and does not lie below it.
        if (!rest.empty() && !rest.starts_with('/') && !root.ends_with('/')) continue;
        NotEntered* node = &top;
        while (!rest.empty()) {
            const std::string_view component = rest.substr(0, rest.find('/'));
            rest.remove_prefix(std::min(rest.size(), component.size() + 1));
            if (component.empty()) continue;
            auto* next = const_cast<NotEntered*>(node->find(component));
            node = next != nullptr ? next : &node->below.emplace_back(NotEntered{std::string{component}, false, {}});
        }
        node->isNotEntered = true;
    }
    return top;
}

void discard(std::vector<std::unique_ptr<Folder>> folders) {
    // Each folder hands those below it to the list before it goes; its destructor then finds nothing to descend into.
    const auto takeFrom = [&](std::unique_ptr<FolderPiece>& piece) {
        if (piece == nullptr) return;
        std::move(piece->folders.begin(), piece->folders.end(), std::back_inserter(folders));
        piece.reset();
    };
    while (!folders.empty()) {
        const std::unique_ptr<Folder> folder = std::move(folders.back());
        folders.pop_back();
        if (folder == nullptr) continue;
        takeFrom(folder->piece);
        for (auto& piece : folder->ready) takeFrom(piece);
    }
}

}  // namespace KestrelCore
