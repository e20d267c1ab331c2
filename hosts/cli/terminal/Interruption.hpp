#pragma once

#include <exception>

namespace KestrelCLI {

/// Ctrl-C and the request to end. A signal concerns the whole process, so this is its one flag.
class Interruption {
public:
    Interruption() = delete;

    /// From now on the first SIGINT, SIGTERM or SIGHUP sets the flag and ends blocking reads; the second ends the
    /// process, so that one that is stuck can be stopped. A signal that the program was started without, as by nohup,
    /// stays ignored. File size limits become failed writes instead of signals, and so do broken pipes: a scan whose
    /// reader went away is still saved, and a removal still ends where it can be told what is gone.
    static void watch();
    /// Whether the reader of a pipe went away, where the program was not started with that ignored. Any thread.
    [[nodiscard]] static bool isPipeClosed() noexcept;
    /// Ends the process as a closed pipe does every filter: by the signal, without a word. The work is done.
    [[noreturn]] static void endByClosedPipe();
    /// Whether the user asked to stop. Any thread.
    [[nodiscard]] static bool isRequested() noexcept;
    /// Throws `Interrupted` if the user asked to stop: for between two steps that take a while.
    static void check();
    /// Sets the flag as a signal does, or clears it (for tests).
    static void set(bool isRequested) noexcept;
};

/// Ends a command that was interrupted, with that exit code. Whatever was printed before stays.
class Interrupted : public std::exception {
public:
    [[nodiscard]] const char* what() const noexcept override { return "Interrupted."; }
};

}  // namespace KestrelCLI
