#pragma once

#include "KestrelCore/Base/Text.hpp"
#include "KestrelCore/Base/URL.hpp"
#include "KestrelCore/Platform/FileManager.hpp"

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace KestrelCore {

/// A file system in memory that keeps the contract of `FileManager`, and fails on demand. One contract suite runs
/// against it and the real one. For one thread at a time.
class FakeFileManager final : public FileManager {
public:
    /// The operations that can be made to fail.
    enum class Operation : std::uint8_t { list, enumerate, measure, createDirectory, trash, remove };

    explicit FakeFileManager(const Text& home = "/Users/ann");

    // Building the tree. Missing folders above are made.
    void addFolder(const Text& path);
    void addFile(const Text& path, std::int64_t allocatedBytes = 0);
    /// `target` is absolute, or relative to the link's folder.
    void addLink(const Text& path, const Text& target);
    /// One more name of a file.
    void addHardLink(const Text& path, const Text& file);
    /// Takes an item, with everything below, out of the tree behind everybody's back.
    void erase(const Text& path);

    // Faults.
    /// The next `count` calls of `operation` on `path` fail with the error for `errorNumber`; a negative count means
    /// every call.
    void fail(Operation operation, const Text& path, int errorNumber, int count = 1);
    /// The item is taken out of the tree right after its folder has been listed once.
    void vanishAfterListing(const Text& path);
    /// Nobody may look into the folder, or read the file.
    void denyReading(const Text& path);
    /// Nothing may be made, trashed or removed in the folder.
    void denyWriting(const Text& path);
    /// No folder can be made any more.
    void fillDisk() { isDiskFull_ = true; }

    /// What `ExpectedItem` must say about the item; empty when it does not exist. Links are not followed.
    [[nodiscard]] std::optional<ExpectedItem> identity(const Text& path) const;

    [[nodiscard]] bool isReadable(const Text& path) const override;
    [[nodiscard]] bool exists(const Text& path) const override;
    [[nodiscard]] std::vector<Text> contentsOfDirectory(const Text& path) const override;
    [[nodiscard]] std::vector<URL> contentsOfDirectory(const URL& url, bool skipsHidden) const override;
    bool
    enumerate(const URL& url,
              const std::function<bool(const URL&, std::optional<std::int64_t> allocatedBytes)>& visit) const override;
    [[nodiscard]] std::optional<std::int64_t> allocatedBytes(const URL& url) const override;
    void createDirectory(const URL& url) override;
    /// Moves the item to the folder ".Trash" of the home directory.
    std::optional<URL> trashItem(const URL& url, const std::optional<ExpectedItem>& expected,
                                 const CancellationToken& cancellation) override;
    std::optional<Text> removeItem(const URL& url, const std::optional<ExpectedItem>& expected,
                                   const CancellationToken& cancellation) override;
    [[nodiscard]] Text homeDirectory() const override { return home_; }

private:
    enum class Type : std::uint8_t { folder, file, link };
    struct Node {
        Type type = Type::folder;
        std::uint64_t inode = 0;
        std::int64_t allocatedBytes = 0;
        Text target;
        bool isReadable = true;
        bool isWritable = true;
    };
    struct Fault {
        Operation operation;
        Text path;
        int errorNumber;
        int remaining;
    };

    void add(const Text& path, Node node);
    const Node* find(const Text& path) const;
    /// The path with every link resolved, also the last one where `followsLast`; empty when something is missing.
    std::optional<Text> resolved(const Text& path, bool followsLast, int depth = 0) const;
    std::vector<Text> childNames(const Text& folder) const;
    int injectedError(Operation operation, const Text& path) const;
    void checkExpected(const Text& path, const std::optional<ExpectedItem>& expected) const;
    int errorForTakingAway(const Text& path) const;
    /// `seen` are the inodes that were given already.
    void visitBelow(const Text& folder, const std::function<bool(const URL&, std::optional<std::int64_t>)>& visit,
                    std::set<std::uint64_t>& seen, bool& goesOn) const;

    Text home_;
    // Listing is constant to its callers, but may count down a fault or make an item vanish.
    mutable std::map<Text, Node> nodes_;
    mutable std::vector<Fault> faults_;
    mutable std::vector<Text> vanishing_;
    std::uint64_t lastInode_ = 1;
    bool isDiskFull_ = false;
};

}  // namespace KestrelCore
