#include "Storage/PieceQueue.hpp"

#include "KestrelCore/Model/KestrelError.hpp"

#include <system_error>

// Encoding, or reading the disk, takes as long as what the caller does with a piece, so the two go on side by side. The
// ring has three places: one for the piece that the caller reads, two for what is ready. Pieces are swapped in, never
// copied: the producer gets the buffer of an earlier piece back and fills it again, so that a text of any length goes
// through four buffers.

namespace KestrelCore {

PieceQueue::PieceQueue(std::function<void(const Sink&)> produce) {
    try {
        thread_ = std::thread{[this, produce = std::move(produce)] {
            std::exception_ptr error;
            try {
                produce([this](std::string& piece) { return push(piece); });
            } catch (...) {
                error = std::current_exception();
            }
            const std::lock_guard guard{mutex_};
            error_ = error;
            isDone_ = true;
            changed_.notify_all();
        }};
    } catch (const std::system_error& error) {
        throw KestrelError::unavailable(error.code().message());
    }
}

PieceQueue::~PieceQueue() {
    {
        const std::lock_guard guard{mutex_};
        isStopped_ = true;
        changed_.notify_all();
    }
    thread_.join();
}

bool PieceQueue::push(std::string& piece) {
    std::unique_lock guard{mutex_};
    changed_.wait(guard, [this] { return count_ < depth || isStopped_; });
    if (isStopped_) return false;
    std::swap(pieces_[(first_ + count_) % depth], piece);
    ++count_;
    changed_.notify_all();
    return true;
}

std::string_view PieceQueue::next() {
    std::unique_lock guard{mutex_};
    if (std::exchange(isReading_, false)) {
        first_ = (first_ + 1) % depth;
        --count_;
        changed_.notify_all();
    }
    changed_.wait(guard, [this] { return count_ > 0 || isDone_; });
    if (count_ == 0) {
        if (error_) std::rethrow_exception(error_);
        return {};
    }
    isReading_ = true;
    return pieces_[first_];
}

}  // namespace KestrelCore
