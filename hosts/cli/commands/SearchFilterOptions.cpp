#include "commands/SearchFilterOptions.hpp"

#include "commands/SizeValue.hpp"
#include "output/Session.hpp"
#include "store/AgeValue.hpp"
#include "store/SavedScan.hpp"

#include "KestrelCore/Platform/FileManager.hpp"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <map>
#include <string_view>

using namespace KestrelCore;

namespace KestrelCLI {

namespace {

using Part = SearchFilterOptions::Part;

const std::map<std::string_view, FileKind>& kindWords() {
    static const std::map<std::string_view, FileKind> words{
        {"file", FileKind::file},          {"files", FileKind::file},           {"folder", FileKind::directory},
        {"folders", FileKind::directory},  {"directory", FileKind::directory},  {"directories", FileKind::directory},
        {"package", FileKind::package},    {"packages", FileKind::package},     {"link", FileKind::symbolicLink},
        {"links", FileKind::symbolicLink}, {"symlink", FileKind::symbolicLink}, {"symlinks", FileKind::symbolicLink}};
    return words;
}

void addType(SearchFilter& filter, const std::string& word) {
    const std::string lowered = Text{word}.lowercased().string();
    if (const auto kind = kindWords().find(lowered); kind != kindWords().end()) {
        filter.kinds.insert(kind->second);
    } else if (const auto category = ItemCategories::named(lowered)) {
        filter.categories.insert(*category);
    } else {
        std::vector<std::string_view> names;
        for (const ItemCategory each : allItemCategories) names.push_back(ItemCategories::nameOf(each));
        throw UsageError{
            fmt::format("“{}” is no type; {}, files, folders and links are.", word, fmt::join(names, ", "))};
    }
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

void SearchFilterOptions::addTo(CLI::App& command) {
    command.add_option("--older-than", olderThan, "Only what was last changed before: 30d, 6mo, 1y, 2023, 2023-05-31")
        ->type_name("AGE");
    command.add_option("--newer-than", newerThan, "Only what was changed since")->type_name("AGE");
    command.add_option("--min", minimum, "Only what has at least this size: 500MB, 1.5GB, 2GiB")->type_name("SIZE");
    command.add_option("--max", maximum, "Only what has at most this size")->type_name("SIZE");
    // One value each time, or several with commas: the next argument is a word to look for.
    const auto several = [&](const char* name, std::vector<std::string>& into, const char* value, const char* help) {
        return command.add_option(name, into, help)
            ->type_name(value)
            ->option_text(value)
            ->expected(1)
            ->take_all()
            ->allow_extra_args(false);
    };
    several(
        "--type", types, "TYPE",
        "Only photos, videos, music, documents, archives, code, applications, disk-images, databases, other, files, "
        "folders or links; several with commas")
        ->delimiter(',');
    several("--ext", extensions, "EXT", "Only files with this extension; several with commas")->delimiter(',');
    several("--in", places, "WHERE", "Only what lies in this folder (a path), or has this word in its path");
    several("--not", unwanted, "WHERE", "Nothing in this folder (a path), or with this word in its path");
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
    for (const std::string& place : places) {
        SearchFilter& filter = add("--in", place);
        addPlaces({place}, filter.inFolders, filter.wordsInPath);
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
