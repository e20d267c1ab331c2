#include "KestrelCore/Snapshot/RecordList.hpp"

#include "Snapshot/RecordStorage.hpp"

namespace KestrelCore {

std::size_t RecordList::size() const { return storage_->size(); }

FileRecord RecordList::operator[](std::size_t index) const { return storage_->record(index); }

RecordSize RecordList::sizeOf(std::size_t index) const {
    const RecordStorage::Row& row = storage_->row(index);
    return {.displayBytes = row.displayBytes(),
            .isContainer = row.isContainer(),
            .isHardLinkDuplicate = row.isHardLinkDuplicate != 0};
}

}  // namespace KestrelCore
