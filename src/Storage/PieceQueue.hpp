#pragma once

#include <condition_variable>
#include <cstddef>
#include <exception>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <utility>

namespace KestrelCore {

/// Runs a producer of text on a thread of its own, a few pieces ahead of the caller, who takes them one by one.
class PieceQueue {
public:
    /// Takes the piece's bytes out of the buffer and leaves another there. False when nobody wants more.
    using Sink = std::function<bool(std::string& piece)>;

    /// `produce` is called on the other thread and should return soon after the sink returned false. Throws
    /// `unavailable` with the system's text when it has no thread to give.
    explicit PieceQueue(std::function<void(const Sink&)> produce);
    /// Stops the producer and waits for it.
    ~PieceQueue();
    PieceQueue(const PieceQueue&) = delete;
    PieceQueue& operator=(const PieceQueue&) = delete;

    /// The next piece, valid until the next call; empty at the end. Throws what the producer threw, after its pieces.
    [[nodiscard]] std::string_view next();

private:
    static constexpr std::size_t depth = 3;

    bool push(std::string& piece);

    std::mutex mutex_;
    std::condition_variable changed_;
    std::string pieces_[depth];  ///< a ring; guarded by `mutex_`, but for the one the caller reads
    std::size_t first_ = 0;
    std::size_t count_ = 0;  ///< filled pieces, the one being read included
    bool isReading_ = false;
    bool isDone_ = false;
    bool isStopped_ = false;
    std::exception_ptr error_;
    std::thread thread_;  ///< last: it uses the rest
};

}  // namespace KestrelCore
