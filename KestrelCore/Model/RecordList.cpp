#include "KestrelCore/Model/RecordList.hpp"

#include "KestrelCore/Model/RecordStorage.hpp"

namespace KestrelCore {

std::size_t RecordList::size() const { return storage_->size(); }

FileRecord RecordList::operator[](std::size_t index) const { return storage_->record(index); }

}  // namespace KestrelCore
