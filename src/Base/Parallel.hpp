#pragma once

#include <exception>
#include <future>
#include <vector>

namespace KestrelCore {

// Work on several threads where the system has them to give. Everything that is split here comes out the same on one
// thread: a helper that gets none does its part on the caller's thread, after the caller's own part. That is what
// `std::async` does when it may choose: it starts a thread at once, or keeps the work for whoever waits for it.

/// Calls `work(thread)` once for each of 0…`threads` - 1, number 0 on this thread, and returns when all are done. Each
/// call is made whatever the others do; of what they throw, that of the lowest number comes out. The calls may overlap.
template <typename Work>
void onThreads(unsigned threads, const Work& work) {
    std::vector<std::future<void>> helpers;
    helpers.reserve(threads);
    for (unsigned thread = 1; thread < threads; ++thread)
        helpers.push_back(std::async(std::launch::async | std::launch::deferred, [&work, thread] { work(thread); }));
    std::exception_ptr first;
    const auto finish = [&first](const auto& part) {
        try {
            part();
        } catch (...) {
            if (!first) first = std::current_exception();
        }
    };
    finish([&] { work(0U); });
    for (std::future<void>& helper : helpers) finish([&helper] { helper.get(); });
    if (first) std::rethrow_exception(first);
}

/// Does both halves, `first` on this thread, and returns when both are done. An exception comes out, that of `first`
/// where both throw.
template <typename First, typename Second>
void inParallel(const First& first, const Second& second) {
    onThreads(2, [&](unsigned thread) { thread == 0 ? first() : second(); });
}

}  // namespace KestrelCore
