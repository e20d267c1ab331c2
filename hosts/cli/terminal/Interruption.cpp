#include "terminal/Interruption.hpp"

#include <csignal>
#include <initializer_list>

namespace KestrelCLI {

namespace {

// The only state of the program that no object owns: a handler has nothing else to reach.
volatile std::sig_atomic_t requested = 0;

extern "C" void noteSignal(int) { requested = 1; }

}  // namespace

void Interruption::watch() {
    struct sigaction action {};
    action.sa_handler = noteSignal;
    action.sa_flags = static_cast<int>(SA_RESETHAND);  // no SA_RESTART: a read that waits for an answer ends
    sigemptyset(&action.sa_mask);
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) sigaction(number, &action, nullptr);

    struct sigaction ignore {};
    ignore.sa_handler = SIG_IGN;
    sigemptyset(&ignore.sa_mask);
    for (const int number : {SIGPIPE, SIGXFSZ}) sigaction(number, &ignore, nullptr);
}

bool Interruption::isRequested() noexcept { return requested != 0; }

void Interruption::check() {
    if (isRequested()) throw Interrupted{};
}

void Interruption::set(bool isRequested) noexcept { requested = isRequested ? 1 : 0; }

}  // namespace KestrelCLI
