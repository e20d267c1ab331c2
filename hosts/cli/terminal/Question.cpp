#include "terminal/Question.hpp"

#include "output/TerminalText.hpp"
#include "terminal/Interruption.hpp"

#include <fmt/format.h>

#include <unistd.h>

#include <cerrno>

namespace KestrelCLI {

namespace {

/// Reads with the system's own call: it ends when a signal comes, which the standard streams would retry.
std::string readLine() {
    std::string line;
    for (;;) {
        char byte = 0;
        const ssize_t got = read(STDIN_FILENO, &byte, 1);
        Interruption::check();
        // Without a bound: this waits for a person, and each signal that comes meanwhile, such as that of a changed
        // window size, is one interruption.
        if (got < 0 && errno == EINTR) continue;
        if (got <= 0 || byte == '\n') return line;
        line += byte;
    }
}

}  // namespace

std::string ask(const Session& session, std::string_view prompt, std::string_view instead) {
    if (!session.terminal.isInput) {
        throw UsageError{fmt::format("There is nobody to ask: standard input is not a terminal. {}", instead)};
    }
    // A signal that came before can't end the reading.
    Interruption::check();
    // The question refers to what was printed; on a terminal that must stand above it.
    session.out.flush();
    session.messages << TerminalText::escaped(prompt) << ' ';
    session.messages.flush();
    return readLine();
}

bool confirm(const Session& session, std::string_view question, std::string_view instead) {
    const std::string answer = ask(session, fmt::format("{} [y/N]", question), instead);
    // Whatever else is typed, also nothing at all: the careful answer to a question about removing things is no.
    return answer == "y" || answer == "Y" || answer == "yes" || answer == "Yes" || answer == "YES";
}

}  // namespace KestrelCLI
