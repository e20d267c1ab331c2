#include "output/Session.hpp"

#include "output/ByteFormat.hpp"
#include "output/TerminalText.hpp"

#include <cstdlib>

namespace KestrelCLI {

namespace {

std::optional<std::string> environment(const char* name) {
    const char* value = std::getenv(name);
    return value == nullptr ? std::nullopt : std::optional<std::string>{value};
}

/// By the choice made, else for a terminal that has not asked to be spared: NO_COLOR counts when it is not empty.
bool colors(ColorChoice choice, bool isTerminal) {
    if (choice != ColorChoice::automatic) return choice == ColorChoice::always;
    return isTerminal && environment("NO_COLOR").value_or("").empty() && environment("TERM").value_or("") != "dumb";
}

}  // namespace

// Raw where the output goes to a file or a program: there a name must stay the name it is.
std::string Session::shown(std::string_view text) const {
    return terminal.isOutput ? TerminalText::escaped(text) : std::string{text};
}

std::string Session::size(std::int64_t bytes) const {
    return options.exactBytes ? ByteFormat::exact(bytes) : ByteFormat::rounded(bytes);
}

bool Session::hasColor() const { return colors(options.color, terminal.isOutput); }

bool Session::hasColorInMessages() const { return colors(options.color, terminal.isMessages); }

std::string Session::painted(Style style, std::string_view text) const {
    return KestrelCLI::painted(style, text, hasColor());
}

void Session::say(std::string_view message) const {
    // Results come first where both go to one terminal.
    out.flush();
    messages << "kestrel: " << TerminalText::escaped(message) << '\n';
    messages.flush();
}

// After a failure the stream takes nothing more, so that one look at the end tells of any write that failed.
bool Session::flush() const {
    out.flush();
    return out.good();
}

}  // namespace KestrelCLI
