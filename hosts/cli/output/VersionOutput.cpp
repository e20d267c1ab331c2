#include "output/VersionOutput.hpp"

#include "output/JSONOutput.hpp"
#include "output/Paragraph.hpp"

#include "KestrelCore/KestrelCore.hpp"

#include <CLI/Version.hpp>
#include <curses.h>

#include <algorithm>
#include <cctype>

namespace KestrelCLI {

namespace {

/// Those of the engine, and those that only this program uses.
std::vector<KestrelCore::UsedLibrary> allLibraries() {
    std::vector<KestrelCore::UsedLibrary> libraries = KestrelCore::usedLibraries();
    libraries.push_back({"CLI11", CLI11_VERSION});
    const std::string curses = curses_version();  // such as "ncurses 6.4.20221231"
    const auto blank = std::min(curses.find(' '), curses.size());
    libraries.push_back({curses.substr(0, blank), curses.substr(std::min(blank + 1, curses.size()))});
    const auto lowercased = [](unsigned char byte) { return std::tolower(byte); };
    std::ranges::sort(libraries, [&](const auto& a, const auto& b) {
        return std::ranges::lexicographical_compare(a.name, b.name, {}, lowercased, lowercased);
    });
    return libraries;
}

}  // namespace

void writeVersion(const Session& session) {
    const std::string_view version = reinterpret_cast<const char*>(KestrelCoreVersionString);
    const SourceCommit& commit = session.source;
    if (session.options.json) {
        JSONOutput json{session.out};
        json.member("version", version);
        if (!commit.name.empty()) {
            json.member("commit", commit.name);
            json.member("isChanged", commit.isChanged);
        }
        json.beginArray("libraries");
        for (const auto& [name, theirs] : allLibraries()) {
            json.beginObject();
            json.member("name", name);
            json.member("version", theirs);
            json.endObject();
        }
        json.endArray();
        json.finish();
        return;
    }
    session.out << "kestrel " << version << '\n'
                << "Commit: " << (commit.name.empty() ? "unknown" : commit.name)
                << (commit.isChanged ? ", with changes" : "") << '\n';
    std::string text = "Libraries: ";
    for (const auto& [name, theirs] : allLibraries()) {
        if (!text.ends_with(": ")) text += ", ";
        text += session.shown(name + " " + theirs);
    }
    writeParagraph(session, text);
}

}  // namespace KestrelCLI
