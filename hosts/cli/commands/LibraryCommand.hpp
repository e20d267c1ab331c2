#pragma once

#include "commands/Command.hpp"
#include "output/Session.hpp"

#include "KestrelCore/Model/FileRecord.hpp"
#include "KestrelCore/Storage/Generation.hpp"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace KestrelCLI {

// What the commands that show a library of the saved scan (photos and videos, documents) have in common.

struct LibraryOptions {
    std::string kind;                  ///< empty for all
    bool print0 = false;               ///< the paths alone, each ended by a NUL
    std::optional<std::size_t> limit;  ///< absent for what is usual: the first lines of a text, all of JSON

    [[nodiscard]] std::size_t textLimit() const;
    /// Of what is for programs.
    [[nodiscard]] std::size_t jsonLimit() const { return limit.value_or(Command::unlimited); }
};

/// How such a command describes itself.
struct LibraryDescription {
    std::string name;
    std::string description;  ///< one sentence
    std::vector<std::string> examples;
    std::vector<std::string> kinds;               ///< what --kind takes
    std::map<std::string, std::string> synonyms;  ///< other words for them, in lower case
    std::string kindHelp;
    std::string limitHelp;  ///< "Show at most N", and of what
};

/// Adds such a command, which takes --kind and --limit.
void addLibraryCommand(CLI::App& app, Session& session, const LibraryDescription& description,
                       std::function<ExitCode(const Session&, const LibraryOptions&)> run);

/// One line of a library as it is shown.
struct LibraryLine {
    KestrelCore::FileRecord record;
    std::string kind;
};

/// The paths of the first `limit` lines as they are, each ended by a NUL.
void writePaths(const Session& session, const std::vector<LibraryLine>& lines, std::size_t limit);

/// A heading with how many there are and their `bytes`, the first `limit` lines (date, size, kind, path; on a terminal
/// relative to the scan's root), and what is left out, in a word.
void writeLibrary(const Session& session, const KestrelCore::Generation& scan, std::string_view title,
                  const std::vector<LibraryLine>& lines, std::int64_t bytes, std::size_t limit);

}  // namespace KestrelCLI
