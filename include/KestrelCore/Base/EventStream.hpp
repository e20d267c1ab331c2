#pragma once

#include "KestrelCore/Base/CancellationToken.hpp"

#include <chrono>
#include <condition_variable>
#include <deque>
#include <exception>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>
#include <utility>
#include <variant>

namespace KestrelCore {

/// A stream of values from one producer task to one consumer: buffered without bound, in order.
///
///     auto numbers = EventStream<int>::start([](const EventStream<int>::Continuation& out) {
///         for (int i = 0; i < 3 && !out.cancellation().isCancelled(); ++i) out.yield(i);
///     });
///     while (const auto number = numbers.next()) show(*number);  // throws what the producer threw, after its values
///
/// The producer runs on a thread of its own. The stream and the producer own their shared state jointly: dropping or
/// cancelling the stream tells the producer to stop and never waits for it, so a producer that is stuck in a system
/// call is left behind. What was buffered before the end is delivered first; then the end, or the error that ended the
/// stream, once; then only the end. After `cancel` the values already buffered may still be read, then the end; no
/// error.
///
/// A value may be taken by `next` on one thread while another calls `cancel`; two threads that both take values get
/// each value once, in no order that either could know.
template <typename T>
class EventStream {
    struct State;

public:
    /// The producer's side. Copies share the stream; every call from any thread, none blocks.
    class Continuation {
    public:
        /// Delivers a value. After the end, or when the consumer is gone, it is dropped without a word.
        void yield(T value) const { state_->push(std::move(value)); }
        /// Ends the stream, with an error or without. The first end counts.
        void finish() const { state_->finish(nullptr); }
        void finish(std::exception_ptr error) const { state_->finish(std::move(error)); }
        /// Set when the consumer has cancelled or dropped the stream.
        [[nodiscard]] const CancellationToken& cancellation() const { return state_->token; }

    private:
        friend class EventStream;
        explicit Continuation(std::shared_ptr<State> state) : state_{std::move(state)} {}
        std::shared_ptr<State> state_;
    };

    /// Starts `produce` on a new thread and returns at once. When it returns the stream ends; when it throws, the
    /// stream ends with that error. What `produce` owns is destroyed before the end can be seen. Throws
    /// std::system_error when the system has no thread left.
    [[nodiscard]] static EventStream start(std::function<void(const Continuation&)> produce) {
        auto state = std::make_shared<State>();
        std::thread{[continuation = Continuation{state}, produce = std::move(produce)]() mutable {
            std::exception_ptr error;
            try {
                produce(continuation);
            } catch (...) {
                error = std::current_exception();
            }
            produce = nullptr;
            continuation.finish(std::move(error));
        }}.detach();
        return EventStream{std::move(state)};
    }

    /// A stream and its producer's side, for producers that bring their own thread (and for tests). The producer must
    /// finish: dropping its side alone does not end the stream.
    [[nodiscard]] static std::pair<EventStream, Continuation> make() {
        auto state = std::make_shared<State>();
        return {EventStream{state}, Continuation{state}};
    }

    /// What was moved from holds no stream: it may be destroyed and assigned to, nothing else. Assigning drops the
    /// stream that was held before, as the destructor does.
    EventStream(EventStream&&) noexcept = default;
    EventStream& operator=(EventStream&& other) noexcept {
        if (this != &other) {
            abandon();
            state_ = std::move(other.state_);
        }
        return *this;
    }
    ~EventStream() { abandon(); }

    /// The next value; empty at the end. Blocks until there is one. Throws the error that ended the stream, once.
    [[nodiscard]] std::optional<T> next() {
        std::unique_lock lock{state_->mutex};
        state_->changed.wait(lock, [this] { return state_->isReadable(); });
        return state_->take(lock);
    }

    struct TimedOut {};  ///< nothing came within the time limit
    struct Ended {};     ///< the stream is over
    /// As `next`, but gives up after `limit`.
    [[nodiscard]] std::variant<T, TimedOut, Ended> next(std::chrono::nanoseconds limit) {
        // Adding a limit near the end of its range to the clock would overflow; beyond a year it means "no limit".
        if (limit > std::chrono::hours{24 * 365}) {
            if (std::optional<T> value = next()) return std::move(*value);
            return Ended{};
        }
        std::unique_lock lock{state_->mutex};
        if (!state_->changed.wait_for(lock, limit, [this] { return state_->isReadable(); })) return TimedOut{};
        if (std::optional<T> value = state_->take(lock)) return std::move(*value);
        return Ended{};
    }

    /// Ends the consumer's side: the producer is told to stop, and readers that wait see the end. Never blocks on it.
    void cancel() noexcept {
        if (state_ == nullptr) return;
        {
            const std::lock_guard guard{state_->mutex};
            state_->isFinished = true;
        }
        // Before the readers wake, and without the lock: what the token calls may use the stream.
        state_->token.cancel();
        state_->changed.notify_all();
    }

private:
    struct State {
        std::mutex mutex;
        std::condition_variable changed;
        std::deque<T> buffer;      ///< guarded by `mutex`, like the two below
        std::exception_ptr error;  ///< delivered once, after the buffer
        bool isFinished = false;
        const CancellationToken token;

        void push(T value) {
            {
                const std::lock_guard guard{mutex};
                if (isFinished) return;
                buffer.push_back(std::move(value));
            }
            changed.notify_one();
        }
        void finish(std::exception_ptr reason) {
            {
                const std::lock_guard guard{mutex};
                if (isFinished) return;
                isFinished = true;
                error = std::move(reason);
            }
            changed.notify_all();
        }
        [[nodiscard]] bool isReadable() const { return !buffer.empty() || isFinished; }
        [[nodiscard]] std::optional<T> take(std::unique_lock<std::mutex>&) {
            if (!buffer.empty()) {
                std::optional<T> value{std::move(buffer.front())};
                buffer.pop_front();
                return value;
            }
            if (error != nullptr) std::rethrow_exception(std::exchange(error, nullptr));
            return std::nullopt;
        }
    };

    explicit EventStream(std::shared_ptr<State> state) : state_{std::move(state)} {}

    /// Cancels, and frees what nobody can read any more: a producer that is left behind keeps the state alive.
    void abandon() noexcept {
        if (state_ == nullptr) return;
        cancel();
        std::deque<T> unread;
        const std::lock_guard guard{state_->mutex};
        unread.swap(state_->buffer);
    }

    std::shared_ptr<State> state_;
};

}  // namespace KestrelCore
