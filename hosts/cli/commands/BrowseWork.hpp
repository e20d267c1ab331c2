#pragma once

#include "terminal/LiveScreen.hpp"
#include "terminal/browse/BrowsePage.hpp"

#include "KestrelCore/Base/EventStream.hpp"

#include <array>
#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <utility>

namespace KestrelCLI {

/// Sorts of work that go on beside each other for the page of `kestrel browse`.
enum class BrowseTask : std::size_t { folder, picture, find, summary, suggestions, marks, action, writing, saving };

/// The threads that work for the page, one for each sort. Their answers are functions that the loop calls. A new piece
/// of work overtakes the one before of its sort, which is told to stop and whose answers nobody reads; nobody waits for
/// a thread that hangs in a system call. For the thread that has the page, but for `WakeUp`.
class BrowseWork {
public:
    using Answer = std::function<BrowsePage::Outcome(BrowsePage&)>;
    using Answers = KestrelCore::EventStream<Answer>;
    using Out = Answers::Continuation;

    /// Wakes the screen from other threads for as long as there is one.
    class WakeUp;

    /// Wakes `screen`, which must outlive this, whenever there is an answer.
    explicit BrowseWork(LiveScreen& screen);
    ~BrowseWork();
    BrowseWork(const BrowseWork&) = delete;
    BrowseWork& operator=(const BrowseWork&) = delete;

    /// Begins work on a thread of its own.
    void start(BrowseTask task, std::function<void(const Out&)> work);
    void drop(BrowseTask task) { at(task).reset(); }
    /// Hands on the answers that have come. Whether there were any.
    bool take(const std::function<void(const Answer&)>& handle);
    /// Has the screen woken from any thread, in the middle of work, so that what was answered so far is taken.
    [[nodiscard]] std::function<void()> wakeUp() const;
    /// What goes on still of that sort is from now on the caller's.
    [[nodiscard]] std::optional<Answers> release(BrowseTask task) { return std::exchange(at(task), std::nullopt); }

private:
    std::optional<Answers>& at(BrowseTask task) { return streams_[static_cast<std::size_t>(task)]; }

    std::shared_ptr<WakeUp> wakeUp_;
    std::array<std::optional<Answers>, static_cast<std::size_t>(BrowseTask::saving) + 1> streams_;
};

}  // namespace KestrelCLI
