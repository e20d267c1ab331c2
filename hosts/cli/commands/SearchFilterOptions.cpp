#include "commands/SearchFilterOptions.hpp"

#include "commands/OptionValue.hpp"
#include "commands/TypeWords.hpp"
#include "output/Session.hpp"
#include "store/AgeValue.hpp"
#include "store/SavedScan.hpp"
#include "store/SizeValue.hpp"

#include "KestrelCore/Platform/FileManager.hpp"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <string_view>
#include <utility>
#include <variant>

using namespace KestrelCore;

namespace KestrelCLI {

namespace {

using Part = SearchFilterOptions::Part;

void addType(SearchFilter& filter, const std::string& word) {
    if (const auto type = typeNamed(word)) {
        if (const auto* kind = std::get_if<FileKind>(&*type)) filter.kinds.insert(*kind);
        if (const auto* category = std::get_if<ItemCategory>(&*type)) filter.categories.insert(*category);
        return;
    }
    std::string meant;
    if (isKnownExtension(word)) {
        meant = fmt::format(" --ext {} finds files by their extension.", word);
    } else if (const auto near = typeNameNear(word)) {
        meant = fmt::format(" Did you mean “{}”?", *near);
    }
    std::vector<std::string> names = typeNames();
    const std::string last = std::move(names.back());
    names.pop_back();
    throw UsageError{fmt::format("“{}” is no type; {} and {} are.{}", word, fmt::join(names, ", "), last, meant)};
}

/// What is a path and no word: it has a slash, or is the current folder, the one above or the home directory.
bool isPath(std::string_view text) {
    return text.find('/') != std::string_view::npos || text == "." || text == ".." || text == "~";
}

/// The folders that a path may mean: as it is written, and as the system sees it.
std::vector<Text> folders(const std::string& written) {
    if (written == "~" || written.starts_with("~/"))
        return meanings(FileManager::standard()->homeDirectory().string() + written.substr(1));
    return meanings(written);
}

void addPlaces(const std::vector<std::string>& written, std::vector<Text>& paths, std::vector<Text>& words) {
    for (const std::string& each : written) {
        if (isPath(each)) {
            for (Text& folder : folders(each)) paths.push_back(std::move(folder));
        } else {
            words.emplace_back(each);
        }
    }
}

}  // namespace

void SearchFilterOptions::addTo(const CommandOptions& command) {
    command
        .value("--older-than", olderThan,
               "Only what was last changed before: 30d, 6mo, 1y, 2023-05-31; 2023 is before that year began")
        .valueName("AGE")
        .check(takesSuchAs(usualAges()));
    command
        .value("--newer-than", newerThan,
               "Only what was changed after: 7d is within the last week, 2022 is in 2023 or later")
        .valueName("AGE")
        .check(takesSuchAs(usualAges()));
    command.value("--min", minimum, "Only what has at least this size: 500MB, 1.5GB, 2GiB")
        .valueName("SIZE")
        .check(takesSuchAs(usualSizes()));
    command.value("--max", maximum, "Only what has at most this size")
        .valueName("SIZE")
        .check(takesSuchAs(usualSizes()));
    // One value each time, or several with commas: the next argument is a word to look for.
    const auto several = [&](const char* name, std::vector<std::string>& into, const char* value, const char* help) {
        return command.value(name, into, help).valueName(value).oneEachTime();
    };
    several(
        "--type", types, "TYPE",
        "Only photos, videos, music, documents, archives, code, applications, disk-images, databases, other, files, "
        "folders or links; several with commas")
        .separatedBy(',')
        .check(takesSuchAs(typeNames()));
    several("--ext", extensions, "EXT", "Only files with this extension; several with commas").separatedBy(',');
    several("--in", places, "WHERE",
            "Only what lies in this folder (a path), or has this word in its path; several widen each other")
        .check(takes(ValueKind::folder));
    several("--not", unwanted, "WHERE", "Nothing in this folder (a path), or with this word in its path")
        .check(takes(ValueKind::folder));
}

std::vector<Part> SearchFilterOptions::parts(Date now) const {
    std::vector<Part> result;
    const auto add = [&](std::string_view name, const std::string& value) -> SearchFilter& {
        return result.emplace_back(Part{.written = fmt::format("{} {}", name, value), .filter = {}}).filter;
    };
    if (olderThan) add("--older-than", *olderThan).modifiedBefore = timeSpanOption(*olderThan, now).begin;
    if (newerThan) add("--newer-than", *newerThan).modifiedAfter = timeSpanOption(*newerThan, now).end;
    if (minimum) add("--min", *minimum).minimumBytes = sizeOption(*minimum);
    if (maximum) add("--max", *maximum).maximumBytes = sizeOption(*maximum);
    if (!types.empty()) {
        SearchFilter& filter = add("--type", fmt::format("{}", fmt::join(types, ",")));
        for (const std::string& type : types) addType(filter, type);
    }
    if (!extensions.empty()) {
        SearchFilter& filter = add("--ext", fmt::format("{}", fmt::join(extensions, ",")));
        for (std::string_view extension : extensions) {
            while (extension.starts_with('.')) extension.remove_prefix(1);
            filter.extensions.insert(Text{extension}.lowercased());
        }
    }
    if (!places.empty()) {
        SearchFilter& filter = add("--in", fmt::format("{}", fmt::join(places, " --in ")));
        addPlaces(places, filter.inFolders, filter.wordsInPath);
    }
    for (const std::string& place : unwanted) {
        SearchFilter& filter = add("--not", place);
        addPlaces({place}, filter.notInFolders, filter.wordsNotInPath);
    }
    return result;
}

SearchFilter together(const std::vector<Part>& parts) {
    SearchFilter all;
    const auto append = [](std::vector<Text>& list, const std::vector<Text>& more) {
        list.insert(list.end(), more.begin(), more.end());
    };
    for (const Part& part : parts) {
        const SearchFilter& one = part.filter;
        if (one.minimumBytes > 0) all.minimumBytes = one.minimumBytes;
        if (one.maximumBytes) all.maximumBytes = one.maximumBytes;
        if (one.modifiedAfter) all.modifiedAfter = one.modifiedAfter;
        if (one.modifiedBefore) all.modifiedBefore = one.modifiedBefore;
        all.kinds.insert(one.kinds.begin(), one.kinds.end());
        all.categories.insert(one.categories.begin(), one.categories.end());
        all.extensions.insert(one.extensions.begin(), one.extensions.end());
        append(all.inFolders, one.inFolders);
        append(all.notInFolders, one.notInFolders);
        append(all.wordsInPath, one.wordsInPath);
        append(all.wordsNotInPath, one.wordsNotInPath);
    }
    return all;
}

}  // namespace KestrelCLI
