#include "terminal/Interruption.hpp"

#include <atomic>
#include <csignal>
#include <cstdlib>
#include <initializer_list>

namespace KestrelCLI {

namespace {

// Set by a handler, which reaches nothing that an object owns, and read by any thread: a type that is safe for the one
// only, or for the other only, would not do.
std::atomic<bool> requested = false;
static_assert(std::atomic<bool>::is_always_lock_free);

extern "C" void noteSignal(int) { requested = true; }

std::atomic<bool> pipeClosed = false;

extern "C" void noteClosedPipe(int) { pipeClosed = true; }

bool isIgnored(int number) {
    struct sigaction action {};
    return sigaction(number, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

}  // namespace

void Interruption::watch() {
    struct sigaction action {};
    action.sa_handler = noteSignal;
    action.sa_flags = static_cast<int>(SA_RESETHAND);  // no SA_RESTART: a read that waits for an answer ends
    sigemptyset(&action.sa_mask);
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
        if (!isIgnored(number)) sigaction(number, &action, nullptr);
    }

    struct sigaction ignore {};
    ignore.sa_handler = SIG_IGN;
    sigemptyset(&ignore.sa_mask);
    // What it tells is told by the failed write as well, and there it can be answered with a sentence.
    sigaction(SIGXFSZ, &ignore, nullptr);
    // Noted, so that a closed pipe can be told from a full disk. It may come at every write that follows.
    action.sa_handler = noteClosedPipe;
    action.sa_flags = static_cast<int>(SA_RESTART);
    if (!isIgnored(SIGPIPE)) sigaction(SIGPIPE, &action, nullptr);
}

bool Interruption::isPipeClosed() noexcept { return pipeClosed; }

void Interruption::endByClosedPipe() {
    struct sigaction usual {};
    usual.sa_handler = SIG_DFL;
    sigemptyset(&usual.sa_mask);
    sigaction(SIGPIPE, &usual, nullptr);
    sigset_t only;
    sigemptyset(&only);
    sigaddset(&only, SIGPIPE);
    sigprocmask(SIG_UNBLOCK, &only, nullptr);
    raise(SIGPIPE);
    // Not reached unless the signal is kept from the process in a way that can't be seen from inside.
    std::_Exit(128 + SIGPIPE);
}

bool Interruption::isRequested() noexcept { return requested; }

void Interruption::check() {
    if (isRequested()) throw Interrupted{};
}

void Interruption::set(bool isRequested) noexcept { requested = isRequested; }

}  // namespace KestrelCLI
