#include "commands/ScanChoice.hpp"

#include "commands/OptionValue.hpp"
#include "output/ByteFormat.hpp"
#include "output/Paragraph.hpp"

#include "KestrelCore/Model/KestrelError.hpp"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <cstddef>
#include <utility>

using namespace KestrelCore;

namespace KestrelCLI {

void ScanChoice::addOptions(const CommandOptions& command) {
    // One value each time, so that the folder that follows is not taken for another.
    const auto values = [&](const char* name, std::vector<std::string>& into, const char* type, ValueKind kind,
                            const char* help) {
        command.value(name, into, help).valueName(type).oneEachTime().check(takes(kind));
    };
    values("--exclude", exclude, "PATTERN", ValueKind::folder,
           "Leave out what matches: a name in any folder (node_modules, '*.iso'), or a path (Downloads/old, /srv/tmp); "
           "* ? [a-z] and ** stand for what they do in a shell, a / at the end for folders only");
    values("--exclude-from", excludeFrom, "FILE", ValueKind::file,
           "Leave out what matches a line of FILE; # begins a comment");
    command.flag("--exclude-caches", leavesCachesOut,
                 "Leave out what lies in folders with a CACHEDIR.TAG, but the tag");
    const CommandOption cross = command.flag("--cross-mounts", crossesMounts,
                                             "Enter other file systems below the folder, but none of the kernel's own");
    // As typed to other tools; nothing is to be chosen.
    command
        .flag(
            "-x,--one-file-system", [] {}, "Stay on one file system, as every scan does without --cross-mounts")
        .excludes(cross);
    const CommandOption include =
        command.flag("--include-kernfs", takesKernelIn, "With --cross-mounts enter /proc, /sys and their like, too");
    include.needs(cross);
    command
        .flag(
            "--exclude-kernfs", [] {}, "Leave out /proc, /sys and their like, as every scan does that begins elsewhere")
        .excludes(include);
}

ScanOptions ScanChoice::options(const Settings& settings) const {
    ScanOptions options = ScanOptions::everything();
    for (const std::string& pattern : exclude) {
        try {
            options.exclude.push_back(ExcludePattern::parse(pattern));
        } catch (const KestrelError& error) {
            throw UsageError{fmt::format("--exclude: {}", error.what())};
        }
    }
    for (const std::string& file : excludeFrom) {
        const std::vector<ExcludePattern> patterns = ExcludePattern::readFile(file);
        options.exclude.insert(options.exclude.end(), patterns.begin(), patterns.end());
    }
    // After those of the command line: an item counts for the first pattern that it matches.
    for (const std::string& pattern : settings.exclude.value) {
        ExcludePattern parsed = ExcludePattern::parse(pattern);
        if (std::ranges::find(options.exclude, parsed) == options.exclude.end())
            options.exclude.push_back(std::move(parsed));
    }
    if (leavesCachesOut) options.cacheFolders = ScanOptions::CacheFolders::leftOut;
    if (crossesMounts) options.mounts = ScanOptions::Mounts::entered;
    if (takesKernelIn) options.kernelFileSystems = ScanOptions::KernelFileSystems::takenIn;
    return options;
}

void addLeftOut(std::vector<LeftOutItems>& all, const std::vector<LeftOutItems>& items) {
    if (all.empty()) {
        all = items;
        return;
    }
    for (std::size_t i = 0; i < std::min(all.size(), items.size()); ++i) {
        all[i].items += items[i].items;
        all[i].concernsRoot = all[i].concernsRoot || items[i].concernsRoot;
    }
}

namespace {

bool isSetting(const Session& session, const LeftOutItems& item) {
    return std::ranges::find(session.settings.exclude.value, item.what.view()) != session.settings.exclude.value.end();
}

}  // namespace

void writeChoice(const Session& session, const std::vector<LeftOutItems>& leftOut,
                 const std::vector<EnteredFileSystem>& entered) {
    constexpr std::size_t most = 12;
    std::vector<std::string> parts;
    std::size_t unmatched = 0;
    std::size_t further = 0;
    for (const LeftOutItems& each : leftOut) {
        if (each.items == 0) {
            if (!isSetting(session, each)) ++unmatched;
        } else if (parts.size() == most) {
            ++further;
        } else {
            parts.push_back(fmt::format("{} ({})", session.shown(each.what.view()), ByteFormat::count(each.items)));
        }
    }
    if (further > 0) parts.push_back(fmt::format("{} more patterns", further));
    if (!parts.empty()) writeParagraph(session, fmt::format("Left out, sizes unknown: {}.", fmt::join(parts, ", ")));
    if (parts.empty() && unmatched > 0) {
        session.out << "Nothing was left out: no item matches.\n";
    } else if (unmatched > 0) {
        std::vector<std::string> names;
        for (const LeftOutItems& each : leftOut) {
            if (each.items == 0 && !isSetting(session, each) && names.size() < most)
                names.push_back(session.shown(each.what.view()));
        }
        if (unmatched > names.size()) names.push_back(fmt::format("{} more", unmatched - names.size()));
        writeParagraph(session, fmt::format("Found nothing of: {}.", fmt::join(names, ", ")));
    }
    if (entered.empty()) return;
    std::vector<std::string> names;
    for (const EnteredFileSystem& each : entered) {
        if (names.size() == most) break;
        names.push_back(fmt::format("{} ({}{})", session.shownPath(each.path.view()), session.shown(each.kind.view()),
                                    each.isRemote ? ", over the network" : ""));
    }
    if (entered.size() > names.size()) names.push_back(fmt::format("{} more", entered.size() - names.size()));
    writeParagraph(session, fmt::format("Entered other file systems: {}.", fmt::join(names, ", ")));
}

void writeChoice(JSONOutput& json, const std::vector<LeftOutItems>& leftOut,
                 const std::optional<std::vector<EnteredFileSystem>>& entered) {
    if (!leftOut.empty()) {
        json.beginArray("leftOut");
        for (const LeftOutItems& each : leftOut) {
            json.beginObject();
            json.member("what", each.what.view());
            json.member("items", each.items);
            json.endObject();
        }
        json.endArray();
    }
    if (!entered) return;
    json.beginArray("enteredFileSystems");
    for (const EnteredFileSystem& each : *entered) {
        json.beginObject();
        json.member("path", each.path.view());
        json.member("fileSystem", each.kind.view());
        json.member("isRemote", each.isRemote);
        json.endObject();
    }
    json.endArray();
}

void warnOfPatternsElsewhere(const Session& session, const std::vector<LeftOutItems>& leftOut) {
    for (const LeftOutItems& each : leftOut) {
        if (each.items == 0 && each.what.view().starts_with("~/") && !isSetting(session, each)) {
            session.say(
                fmt::format("The pattern {} names a folder “~” here. The shell makes the home directory of ~ "
                            "only where it stands at the beginning of a word without quotes; \"$HOME{}\" means it.",
                            each.what.view(), each.what.view().substr(1)));
        }
        if (each.concernsRoot || isSetting(session, each)) continue;
        session.say(fmt::format("The pattern {} begins with “/”, so it is a path from the top of the file system, and "
                                "not of anything that was scanned. .{} means the one in the scanned folder.",
                                each.what.view(), each.what.view()));
    }
}

}  // namespace KestrelCLI
