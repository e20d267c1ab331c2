#include "output/AccountOutput.hpp"

#include "output/ByteFormat.hpp"
#include "output/Table.hpp"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

using namespace KestrelCore;

namespace KestrelCLI {

namespace {

/// Deleted files and other file systems: as many as are worth a line each.
constexpr std::size_t mostLines = 8;

std::string counted(std::size_t count, std::string_view one, std::string_view several) {
    return fmt::format("{} {}", ByteFormat::count(static_cast<std::int64_t>(count)), count == 1 ? one : several);
}

std::string restText(const DiskAccount& account) {
    if (account.restBytes() < 0) {
        return account.sharesRoom
                   ? fmt::format("the rest: files on {} share room, and each is shown whole", account.kind.view())
                   : "the rest: the disk has changed since it was scanned";
    }
    if (account.sharesRoom)
        return fmt::format("the rest: {} also counts what can't be seen here, such as layers and snapshots",
                           account.kind.view());
    std::vector<std::string_view> parts{"the file system's own data", "what lies under mounts"};
    if (account.unreadItems > 0) parts.emplace_back("what could not be read");
    if (!account.leftOut.empty()) parts.emplace_back("what was left out");
    return fmt::format("the rest: {}", fmt::join(parts, ", "));
}

struct Part {
    std::string size;
    std::string text;
};

/// Sizes below each other, each with its text, which goes on in further lines where the terminal is narrow.
void writeParts(const Session& session, const std::vector<Part>& parts) {
    std::size_t widest = 0;
    for (const Part& part : parts) widest = std::max(widest, part.size.size());
    const std::size_t indent = widest + 2;
    const std::size_t room = session.columns() == 0 ? std::string::npos : session.columns() - indent;
    for (const Part& part : parts) {
        session.out << fmt::format("{:>{}}  ", part.size, widest);
        std::string_view text = part.text;
        while (text.size() > room) {
            const std::size_t blank = text.rfind(' ', room);
            if (blank == std::string_view::npos) break;
            session.out << text.substr(0, blank) << '\n' << std::string(indent, ' ');
            text.remove_prefix(blank + 1);
        }
        session.out << text << '\n';
    }
}

std::string processesOf(const Session& session, const DiskAccount::DeletedOpenFile& file) {
    std::vector<std::string> names;
    for (const DiskAccount::Process& process : file.processes)
        names.push_back(fmt::format("{} ({})", session.shown(process.name.view()), process.id));
    return fmt::format("{}", fmt::join(names, ", "));
}

void writeDeletedOpen(const Session& session, const std::vector<DiskAccount::DeletedOpenFile>& all) {
    std::vector<DiskAccount::DeletedOpenFile> files;
    std::ranges::copy_if(all, std::back_inserter(files), [](const auto& file) { return file.allocatedBytes > 0; });
    if (files.empty()) return;
    session.out << '\n' << session.painted(Style::heading, "Deleted, but still open") << '\n';
    Table table{{{.title = "", .align = Table::Align::right}, {.title = "", .shrinks = true}, {.title = ""}}};
    for (std::size_t i = 0; i < std::min(files.size(), mostLines); ++i) {
        table.addRow({{.text = session.size(files[i].allocatedBytes)},
                      {.text = session.shownPath(files[i].path.view()), .style = Style::file},
                      {.text = processesOf(session, files[i]), .style = Style::quiet}});
    }
    table.write(session);
    if (files.size() > mostLines) session.out << fmt::format("… and {} more\n", files.size() - mostLines);
}

void writeOthers(const Session& session, const std::vector<DiskAccount::OtherFileSystem>& others) {
    std::vector<DiskAccount::OtherFileSystem> told;
    // An empty one is nothing to whoever looks for space.
    std::ranges::copy_if(others, std::back_inserter(told), [](const auto& each) { return each.usedBytes != 0; });
    if (told.empty()) return;
    session.out << '\n' << session.painted(Style::heading, "Other file systems below, not in the sum") << '\n';
    Table table{{{.title = "", .align = Table::Align::right}, {.title = "", .shrinks = true}, {.title = ""}}};
    for (std::size_t i = 0; i < std::min(told.size(), mostLines); ++i) {
        table.addRow({{.text = told[i].usedBytes ? session.size(*told[i].usedBytes) : "no answer"},
                      {.text = session.shownPath(told[i].path.view()), .style = Style::folder},
                      {.text = session.shown(told[i].kind.view()), .style = Style::quiet}});
    }
    table.write(session);
    if (told.size() > mostLines) session.out << fmt::format("… and {} more\n", told.size() - mostLines);
}

}  // namespace

void writeAccount(const Session& session, const DiskAccount& account) {
    session.out << '\n' << session.painted(Style::heading, "What this file system says is used") << '\n';
    std::vector<Part> parts;
    const auto add = [&](std::int64_t bytes, std::string text) {
        parts.push_back({.size = session.size(bytes), .text = std::move(text)});
    };
    add(account.shownBytes, "shown above");
    if (!account.deletedOpen.empty())
        add(account.deletedOpenBytes(),
            fmt::format("deleted, but still open: {}", counted(account.deletedOpen.size(), "file", "files")));
    add(account.restBytes(), restText(account));
    const std::int64_t reserved = account.freeBytes - account.availableBytes;
    add(account.usedBytes, fmt::format("used of {} ({}), as df tells; {} are free{}", session.size(account.totalBytes),
                                       account.kind.view(), session.size(account.availableBytes),
                                       reserved > 0 ? fmt::format(", {} reserved", session.size(reserved)) : ""));
    writeParts(session, parts);
    if (account.unreadItems > 0) {
        session.out << fmt::format("{} could not be read, size unknown.\n",
                                   counted(static_cast<std::size_t>(account.unreadItems), "item", "items"));
    }
    if (!account.leftOut.empty()) {
        std::vector<std::string> names;
        for (const Text& each : account.leftOut) names.push_back(session.shown(each.view()));
        session.out << fmt::format("Left out: {}.\n", fmt::join(names, ", "));
    }
    writeDeletedOpen(session, account.deletedOpen);
    writeOthers(session, account.otherSystems);
}

void writeAccount(JSONOutput& json, const DiskAccount& account) {
    json.beginObject("account");
    json.member("fileSystem", account.kind.view());
    json.member("totalBytes", account.totalBytes);
    json.member("usedBytes", account.usedBytes);
    json.member("freeBytes", account.freeBytes);
    json.member("availableBytes", account.availableBytes);
    json.member("shownBytes", account.shownBytes);
    json.member("deletedOpenBytes", account.deletedOpenBytes());
    json.member("restBytes", account.restBytes());
    json.member("sharesRoom", account.sharesRoom);
    json.member("unreadItems", account.unreadItems);
    json.beginArray("leftOut");
    for (const Text& each : account.leftOut) json.element(each.view());
    json.endArray();
    json.beginArray("deletedOpen");
    for (const DiskAccount::DeletedOpenFile& file : account.deletedOpen) {
        json.beginObject();
        json.member("path", file.path.view());
        json.member("allocatedBytes", file.allocatedBytes);
        json.beginArray("processes");
        for (const DiskAccount::Process& process : file.processes) {
            json.beginObject();
            json.member("id", process.id);
            json.member("name", process.name.view());
            json.endObject();
        }
        json.endArray();
        json.endObject();
    }
    json.endArray();
    json.beginArray("otherFileSystems");
    for (const DiskAccount::OtherFileSystem& other : account.otherSystems) {
        json.beginObject();
        json.member("path", other.path.view());
        json.member("fileSystem", other.kind.view());
        json.member("usedBytes", other.usedBytes);
        json.endObject();
    }
    json.endArray();
    json.endObject();
}

}  // namespace KestrelCLI
