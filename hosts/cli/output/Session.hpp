#pragma once

#include "output/ByteFormat.hpp"
#include "output/Settings.hpp"
#include "output/SourceCommit.hpp"
#include "output/Terminal.hpp"
#include "output/TerminalText.hpp"

#include <cstdint>
#include <initializer_list>
#include <optional>
#include <ostream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

namespace KestrelCLI {

/// What the program's end tells the shell.
enum class ExitCode : int {
    done = 0,
    failed = 1,
    wrongUsage = 2,  ///< also a needed question without a terminal to ask on
    incomplete = 3,  ///< done, but some items could not be read
    refused = 4,     ///< the safety policy refused something
    interrupted = 130
};

/// The more telling of two: the first that applies of interrupted, wrong usage, refused, failed, incomplete, done.
[[nodiscard]] constexpr ExitCode combined(ExitCode a, ExitCode b) {
    for (const ExitCode code :
         {ExitCode::interrupted, ExitCode::wrongUsage, ExitCode::refused, ExitCode::failed, ExitCode::incomplete}) {
        if (a == code || b == code) return code;
    }
    return ExitCode::done;
}

/// Options that every command takes, before or after its name.
struct GlobalOptions {
    std::optional<std::string> store;  ///< the snapshot database, as the user named it
    std::optional<std::string> at;     ///< which saved scan is looked at, as the user wrote it; absent: the newest
    bool json = false;                 ///< one JSON object instead of a text for people
    bool exactBytes = false;           ///< sizes to the byte
    bool ignoresConfiguration = false;
    SizeUnits units = SizeUnits::decimal;        ///< by option or setting
    ColorChoice color = ColorChoice::automatic;  ///< likewise
};

/// What all commands share in one run of the program: where they write, what they know of the terminal, what was asked
/// of all of them. Used from the main thread only.
struct Session {
    std::ostream& out;       ///< results, and nothing else
    std::ostream& messages;  ///< progress, warnings and questions
    Terminal terminal;
    GlobalOptions options;
    std::string home = {};               ///< the home directory's path; empty where it is not known
    std::ostream* rawOutput = nullptr;   ///< what `out` leads to where that changes what is written; else null
    std::string configurationPath = {};  ///< the file with this person's settings; empty: none is looked for
    Settings settings = {};              ///< what holds, once the command line is read
    SourceCommit source = {};            ///< what the program was built from

    /// What can be shown.
    [[nodiscard]] Characters characters() const { return terminal.isASCII ? Characters::ascii : Characters::unicode; }
    /// A text from outside as a result for a person: with visible escapes, also in a file or a pipe, where a name with
    /// a newline would pass for two lines. What a program is to read as it is goes to `raw`, or is JSON.
    [[nodiscard]] std::string shown(std::string_view text) const;
    /// The same of an absolute path. On a terminal the home directory is "~"; elsewhere a path stays one that every
    /// program understands.
    [[nodiscard]] std::string shownPath(std::string_view path) const;
    /// `text` (already escaped) cut to at most `columns`.
    [[nodiscard]] std::string shortened(std::string_view text, std::size_t columns) const {
        return TerminalText::shortened(text, columns, characters());
    }
    /// Standard output for bytes that must arrive as they are, such as the paths of --print0.
    [[nodiscard]] std::ostream& raw() const;
    /// A size for a person: rounded, or exact with --bytes.
    [[nodiscard]] std::string size(std::int64_t bytes) const;
    /// Whether results (or, of `messages`, progress and warnings) are coloured.
    [[nodiscard]] bool hasColor() const;
    [[nodiscard]] bool hasColorInMessages() const;
    /// Whether full-screen pages are.
    [[nodiscard]] bool hasColorOnPages() const { return hasColor() && settings.pageColors.value != PageColors::none; }
    /// A text in the colour of its style, for standard output.
    [[nodiscard]] std::string painted(Style style, std::string_view text) const;
    /// The width to stay within when results are shown; 0, no limit, when standard output is not a terminal.
    [[nodiscard]] std::size_t columns() const { return terminal.isOutput ? terminal.columns : 0; }

    /// A sentence on standard error, "kestrel: " before it; escaped, so any text may stand in it. One line, but on a
    /// terminal, where it is parted between words.
    void say(std::string_view message) const;

    /// Hands on what was written; false when standard output no longer takes it (closed pipe, full disk). A command
    /// that runs for long asks after each piece and ends.
    [[nodiscard]] bool flush() const;
};

/// The command line asks for something that does not exist, or lacks something: exit code 2 and one line.
class UsageError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// A failure that is about one item: exit code 1 and one line, in which the path stands already.
class PathError : public std::runtime_error {
public:
    PathError(const std::string& message, std::string path) : std::runtime_error{message}, path_{std::move(path)} {}
    [[nodiscard]] const std::string& path() const noexcept { return path_; }

private:
    std::string path_;
};

}  // namespace KestrelCLI
