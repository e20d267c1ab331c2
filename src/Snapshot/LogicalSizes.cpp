#include "Snapshot/LogicalSizes.hpp"

#include "Snapshot/TreeOrder.hpp"

#include <algorithm>
#include <cstdint>
#include <vector>

// The tree is summed up anew, from the last folder to the first: what lies below a folder comes behind it. Lengths may
// be anything, since a sparse file takes no room for them; so all of them together are counted up to a bound, and no
// sum of them overflows.

namespace KestrelCore {

namespace {

/// All lengths of a snapshot that are counted.
constexpr std::int64_t mostBytes = std::int64_t{1} << 62;

class Lengths {
public:
    explicit Lengths(RecordStorage& storage)
        : storage_{storage}, order_{storage}, inside_(order_.folders().size(), 0) {}

    void measure() {
        for (const std::uint32_t index : order_.irregular()) measureIrregular(index);
        const std::vector<TreeOrder::Folder>& folders = order_.folders();
        for (std::size_t i = folders.size(); i-- > 0;) {
            const TreeOrder::Folder& folder = folders[i];
            for (std::uint32_t file = folder.firstFile; file < folder.firstFile + folder.files; ++file) {
                RecordStorage::Row& row = storage_.row(order_.files()[file]);
                const std::int64_t bytes = take(row);
                row.aggregateAllocatedBytes = bytes;
                inside_[i] += bytes;
            }
            if (folder.row != TreeOrder::none) {
                RecordStorage::Row& row = storage_.row(folder.row);
                inside_[i] += take(row);
                row.aggregateAllocatedBytes = inside_[i];
            }
            if (folder.parent != TreeOrder::none) inside_[folder.parent] += inside_[i];
        }
        for (const Container& container : irregularContainers_) {
            RecordStorage::Row& row = storage_.row(container.row);
            row.aggregateAllocatedBytes += inside_[container.folder];
        }
    }

private:
    /// One that no folder of the tree has as its record, such as the top of a scan.
    struct Container {
        std::uint32_t row;
        std::uint32_t folder;
    };

    /// Makes the row's length its allocation. What of it counts: a further hard link has its length with the first.
    std::int64_t take(RecordStorage::Row& row) {
        const std::int64_t length = std::clamp<std::int64_t>(row.logicalBytes, 0, mostBytes - counted_);
        row.allocatedBytes = length;
        if (row.isHardLinkDuplicate) return 0;
        counted_ += length;
        return length;
    }

    void measureIrregular(std::uint32_t index) {
        RecordStorage::Row& row = storage_.row(index);
        const RecordStorage::Irregular& texts = storage_.irregular(row);
        const std::int64_t bytes = take(row);
        row.aggregateAllocatedBytes = bytes;
        if (row.isContainer()) {
            const std::uint32_t folder = order_.folderAt(texts.path.view());
            if (folder != TreeOrder::none) irregularContainers_.push_back({index, folder});
        }
        if (!texts.parentPath) return;
        const std::uint32_t parent = order_.folderAt(texts.parentPath->view());
        if (parent != TreeOrder::none) inside_[parent] += bytes;
    }

    RecordStorage& storage_;
    const TreeOrder order_;
    std::vector<std::int64_t> inside_;  ///< of each folder, what has been counted in it so far
    std::int64_t counted_ = 0;
    std::vector<Container> irregularContainers_;
};

}  // namespace

std::shared_ptr<const RecordStorage> withLogicalSizes(const RecordStorage& storage) {
    const std::shared_ptr<RecordStorage> result = storage.copy([](std::size_t) { return true; });
    Lengths{*result}.measure();
    return result;
}

}  // namespace KestrelCore
