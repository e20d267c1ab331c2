#include "KestrelCore/Base/CancellationToken.hpp"

#include <atomic>
#include <mutex>
#include <utility>
#include <vector>

namespace KestrelCore {

/// A callback with the lock that keeps "running" and "taken back" apart.
struct CancellationToken::Registration::Entry {
    std::mutex mutex;
    std::function<void()> callback;  ///< empty once it has run or was taken back; guarded by `mutex`

    void run() {
        const std::lock_guard guard{mutex};
        if (const auto once = std::exchange(callback, nullptr)) once();
    }
};

struct CancellationToken::State {
    std::atomic<bool> isCancelled = false;
    std::mutex mutex;
    std::vector<std::weak_ptr<Registration::Entry>> entries;  ///< guarded by `mutex`
};

CancellationToken::CancellationToken() : state_{std::make_shared<State>()} {}

bool CancellationToken::isCancelled() const noexcept { return state_->isCancelled.load(std::memory_order_acquire); }

void CancellationToken::cancel() const {
    std::vector<std::weak_ptr<Registration::Entry>> entries;
    {
        const std::lock_guard guard{state_->mutex};
        if (state_->isCancelled.exchange(true, std::memory_order_acq_rel)) return;
        entries.swap(state_->entries);
    }
    for (const auto& weak : entries) {
        if (const auto entry = weak.lock()) entry->run();
    }
}

CancellationToken::Registration CancellationToken::onCancel(std::function<void()> callback) const {
    Registration registration;
    registration.entry_ = std::make_shared<Registration::Entry>();
    registration.entry_->callback = std::move(callback);
    bool isLate = false;
    {
        const std::lock_guard guard{state_->mutex};
        isLate = state_->isCancelled.load(std::memory_order_relaxed);
        if (!isLate) {
            std::erase_if(state_->entries, [](const auto& weak) { return weak.expired(); });
            state_->entries.push_back(registration.entry_);
        }
    }
    if (isLate) registration.entry_->run();
    return registration;
}

CancellationToken::Registration& CancellationToken::Registration::operator=(Registration&& other) noexcept {
    std::swap(entry_, other.entry_);
    return *this;
}

CancellationToken::Registration::~Registration() {
    if (entry_ == nullptr) return;
    const std::lock_guard guard{entry_->mutex};
    entry_->callback = nullptr;
}

}  // namespace KestrelCore
