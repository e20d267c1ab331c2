#pragma once

#include "KestrelCore/Export.hpp"
#include "KestrelCore/Model/FileRecord.hpp"

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <memory>
#include <utility>

namespace KestrelCore {

class RecordStorage;

/// What a record counts for, as of `FileRecord`.
struct RecordSize {
    std::int64_t displayBytes = 0;
    bool isContainer = false;
    bool isHardLinkDuplicate = false;

    bool operator==(const RecordSize&) const = default;
};

/// A read-only, random-access list of records. The records are kept in a compact form and made when they are read, so
/// reading yields values. Copies share the storage; any number of threads may read.
class KESTRELCORE_EXPORT RecordList {
public:
    /// At most 2^32 - 1.
    [[nodiscard]] std::size_t size() const;
    [[nodiscard]] bool empty() const { return size() == 0; }
    /// Makes the record at `index`, which must be below `size()` (nothing checks it). Takes a microsecond or so, the
    /// longer the deeper the item lies; whoever asks twice keeps it.
    [[nodiscard]] FileRecord operator[](std::size_t index) const;
    /// The size of the record at `index`, which must be below `size()`. Costs the same at any depth, where reading a
    /// record makes its path: for looking through all of them.
    [[nodiscard]] RecordSize sizeOf(std::size_t index) const;

    /// A position in a list. It points to the list object, which must stay where it is and outlive it; that another
    /// copy of the list lives on is not enough. Positions of two lists must not be compared. C++20 algorithms take it
    /// for random access; older ones, which want references, for an input only.
    class KESTRELCORE_EXPORT Iterator {
    public:
        using iterator_concept = std::random_access_iterator_tag;
        using iterator_category = std::input_iterator_tag;  // reading yields values
        using value_type = FileRecord;
        using difference_type = std::ptrdiff_t;
        using reference = FileRecord;
        using pointer = void;

        Iterator() = default;  ///< of no list: only to be assigned to
        FileRecord operator*() const { return (*list_)[index_]; }
        FileRecord operator[](difference_type n) const { return *(*this + n); }
        Iterator& operator++() { return *this += 1; }
        Iterator operator++(int) { return std::exchange(*this, *this + 1); }
        Iterator& operator--() { return *this -= 1; }
        Iterator operator--(int) { return std::exchange(*this, *this - 1); }
        Iterator& operator+=(difference_type n) {
            index_ = static_cast<std::size_t>(static_cast<difference_type>(index_) + n);
            return *this;
        }
        Iterator& operator-=(difference_type n) { return *this += -n; }
        friend Iterator operator+(Iterator a, difference_type n) { return a += n; }
        friend Iterator operator+(difference_type n, Iterator a) { return a += n; }
        friend Iterator operator-(Iterator a, difference_type n) { return a -= n; }
        friend difference_type operator-(const Iterator& a, const Iterator& b) {
            return static_cast<difference_type>(a.index_) - static_cast<difference_type>(b.index_);
        }
        friend bool operator==(const Iterator& a, const Iterator& b) { return a.index_ == b.index_; }
        friend auto operator<=>(const Iterator& a, const Iterator& b) { return a.index_ <=> b.index_; }

    private:
        friend class RecordList;
        Iterator(const RecordList* list, std::size_t index) : list_{list}, index_{index} {}
        const RecordList* list_ = nullptr;
        std::size_t index_ = 0;
    };
    [[nodiscard]] Iterator begin() const { return {this, 0}; }
    [[nodiscard]] Iterator end() const { return {this, size()}; }

private:
    friend struct SnapshotContents;
    explicit RecordList(std::shared_ptr<const RecordStorage> storage) : storage_{std::move(storage)} {}

    std::shared_ptr<const RecordStorage> storage_;  ///< never null
};

}  // namespace KestrelCore
