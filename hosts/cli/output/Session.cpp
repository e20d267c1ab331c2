#include "output/Session.hpp"

#include "output/WordWrap.hpp"

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

std::string Session::shown(std::string_view text) const { return TerminalText::escaped(text, characters()); }

std::string Session::shownPath(std::string_view path) const {
    // No path that is shown is relative, so that nothing else begins with "~".
    const bool isInHome = terminal.isOutput && home.size() > 1 && path.starts_with(home) &&
                          (path.size() == home.size() || path[home.size()] == '/');
    return isInHome ? "~" + shown(path.substr(home.size())) : shown(path);
}

std::ostream& Session::raw() const {
    if (rawOutput == nullptr) return out;
    out.flush();
    return *rawOutput;
}

std::string Session::size(std::int64_t bytes) const {
    return options.exactBytes ? ByteFormat::exact(bytes) : ByteFormat::rounded(bytes, options.units);
}

bool Session::hasColor() const { return colors(options.color, terminal.isOutput); }

bool Session::hasColorInMessages() const { return colors(options.color, terminal.isMessages); }

std::string Session::painted(Style style, std::string_view text) const {
    return KestrelCLI::painted(style, text, hasColor());
}

void Session::say(std::string_view message) const {
    // Results come first where both go to one terminal.
    out.flush();
    const std::string line = "kestrel: " + TerminalText::escaped(message);
    // Only where a person reads it: whoever looks for a sentence in a file finds it on one line.
    constexpr std::size_t indent = 2;
    messages << (terminal.isMessages ? wrappedWords(line, terminal.columns, indent) : line) << '\n';
    messages.flush();
}

// After a failure the stream takes nothing more, so that one look at the end tells of any write that failed.
bool Session::flush() const {
    out.flush();
    return out.good() && (rawOutput == nullptr || rawOutput->flush().good());
}

}  // namespace KestrelCLI
