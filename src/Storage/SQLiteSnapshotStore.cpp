#include "KestrelCore/Storage/SQLiteSnapshotStore.hpp"

#include "Storage/SnapshotDatabase.hpp"

namespace KestrelCore {

SQLiteSnapshotStore::SQLiteSnapshotStore(const URL& url) : database_{std::make_unique<SnapshotDatabase>(url)} {}

SQLiteSnapshotStore::~SQLiteSnapshotStore() = default;

void SQLiteSnapshotStore::replace(const ScanSnapshot& with) {
    const std::lock_guard guard{mutex_};
    database_->replace(with);
}

bool SQLiteSnapshotStore::replaceStored(const UUID& stored, const ScanSnapshot& with) {
    const std::lock_guard guard{mutex_};
    return database_->replace(with, stored);
}

std::optional<ScanSnapshot> SQLiteSnapshotStore::loadLatest() {
    const std::lock_guard guard{mutex_};
    return database_->loadLatest();
}

void SQLiteSnapshotStore::clear() {
    const std::lock_guard guard{mutex_};
    database_->clear();
}

}  // namespace KestrelCore
