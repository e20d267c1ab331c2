#pragma once

#include "Base/FatalError.hpp"

#include <atomic>
#include <mutex>
#include <string_view>
#include <thread>
#include <utility>

namespace KestrelCore {

/// Runs operations of one object one at a time, on the thread that calls. Not recursive: an operation that runs another
/// one on the same executor stops the process instead of waiting for itself for ever.
class SerialExecutor {
public:
    template <typename Operation>
    decltype(auto) run(Operation&& operation) {
        if (owner_.load(std::memory_order_relaxed) == std::this_thread::get_id()) {
            fatalError("KestrelCore/SerialExecutor", "An operation must not run another one on its own executor");
        }
        const std::lock_guard guard{mutex_};
        const Isolation isolation{owner_};
        return std::forward<Operation>(operation)();
    }

    /// Stops the process when the calling thread is not inside `run` of this executor.
    void assertIsolated(std::string_view sourceFile) const {
        if (owner_.load(std::memory_order_relaxed) != std::this_thread::get_id()) {
            fatalError(sourceFile, "Incorrect executor: the operation must run isolated to its object");
        }
    }

private:
    struct Isolation {
        explicit Isolation(std::atomic<std::thread::id>& owner) : owner{owner} {
            owner.store(std::this_thread::get_id(), std::memory_order_relaxed);
        }
        ~Isolation() { owner.store(std::thread::id{}, std::memory_order_relaxed); }
        Isolation(const Isolation&) = delete;
        Isolation& operator=(const Isolation&) = delete;
        std::atomic<std::thread::id>& owner;
    };

    // Relaxed order is enough for the owner: a thread only asks whether it is itself the one, and its own writes it
    // always sees.
    std::mutex mutex_;
    std::atomic<std::thread::id> owner_{};
};

}  // namespace KestrelCore
