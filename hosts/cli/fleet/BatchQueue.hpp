#pragma once

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <exception>
#include <mutex>
#include <optional>
#include <string>

namespace KestrelCLI {

/// Rows on their way to a server, for one table.
struct Batch {
    const std::string* insert = nullptr;  ///< the INSERT
    std::string rows;                     ///< as they are sent
    std::int64_t count = 0;
};

/// Between the thread that makes batches and the one that sends them: a few at most are ready. Each call belongs to one
/// of the two threads.
class BatchQueue {
public:
    explicit BatchQueue(std::size_t most) : most_{most} {}

    /// Waits for room; false when nobody takes any more.
    [[nodiscard]] bool put(Batch&& batch);
    /// No more are made, for that reason where there is one.
    void end(std::exception_ptr failure = nullptr);

    /// Waits for the next one; empty at the end. Throws what kept the other thread from making more.
    [[nodiscard]] std::optional<Batch> take();
    /// None are taken any more.
    void close();

private:
    std::size_t most_;
    std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<Batch> ready_;
    bool isEnded_ = false;
    bool isClosed_ = false;
    std::exception_ptr failure_;
};

}  // namespace KestrelCLI
