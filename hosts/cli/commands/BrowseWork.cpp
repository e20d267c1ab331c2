#include "commands/BrowseWork.hpp"

#include <chrono>
#include <mutex>
#include <variant>

namespace KestrelCLI {

class BrowseWork::WakeUp {
public:
    explicit WakeUp(LiveScreen& screen) : screen_{&screen} {}
    void wake() {
        const std::lock_guard guard{mutex_};
        if (screen_ != nullptr) screen_->wake();
    }
    void end() {
        const std::lock_guard guard{mutex_};
        screen_ = nullptr;
    }

private:
    std::mutex mutex_;
    LiveScreen* screen_;
};

BrowseWork::BrowseWork(LiveScreen& screen) : wakeUp_{std::make_shared<WakeUp>(screen)} {}

BrowseWork::~BrowseWork() { wakeUp_->end(); }

void BrowseWork::start(BrowseTask task, std::function<void(const Out&)> work) {
    at(task) = Answers::start([work = std::move(work), wakeUp = wakeUp_](const Out& out) {
        work(out);
        wakeUp->wake();
    });
}

bool BrowseWork::take(const std::function<void(const Answer&)>& handle) {
    bool isNew = false;
    for (auto& stream : streams_) {
        while (stream) {
            auto next = stream->next(std::chrono::nanoseconds{0});
            if (auto* answer = std::get_if<Answer>(&next)) {
                // It may begin work of its own sort, and so replace the stream.
                handle(*answer);
                isNew = true;
                continue;
            }
            if (std::holds_alternative<Answers::Ended>(next)) stream.reset();
            break;
        }
    }
    return isNew;
}

std::function<void()> BrowseWork::wakeUp() const {
    return [wakeUp = wakeUp_] { wakeUp->wake(); };
}

}  // namespace KestrelCLI
