#include "fleet/BatchQueue.hpp"

#include <utility>

namespace KestrelCLI {

bool BatchQueue::put(Batch&& batch) {
    std::unique_lock lock{mutex_};
    changed_.wait(lock, [this] { return isClosed_ || ready_.size() < most_; });
    if (isClosed_) return false;
    ready_.push_back(std::move(batch));
    changed_.notify_all();
    return true;
}

void BatchQueue::end(std::exception_ptr failure) {
    const std::lock_guard lock{mutex_};
    isEnded_ = true;
    failure_ = std::move(failure);
    changed_.notify_all();
}

std::optional<Batch> BatchQueue::take() {
    std::unique_lock lock{mutex_};
    changed_.wait(lock, [this] { return isEnded_ || !ready_.empty(); });
    if (ready_.empty()) {
        if (failure_) std::rethrow_exception(failure_);
        return std::nullopt;
    }
    Batch batch = std::move(ready_.front());
    ready_.pop_front();
    changed_.notify_all();
    return batch;
}

void BatchQueue::close() {
    const std::lock_guard lock{mutex_};
    isClosed_ = true;
    changed_.notify_all();
}

}  // namespace KestrelCLI
