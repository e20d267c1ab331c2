#include "KestrelCore/Scanning/ExcludePattern.hpp"

#include "KestrelCore/Model/KestrelError.hpp"
#include "Platform/SmallFile.hpp"
#include "Scanning/NamePattern.hpp"

#include <fmt/format.h>

#include <filesystem>
#include <system_error>

namespace KestrelCore {

namespace {

constexpr std::size_t mostTokens = 4096;
constexpr std::size_t mostFileBytes = std::size_t{1} << 20;

/// A message quotes what a person can find again, and not a megabyte.
std::string quoted(std::string_view text) {
    constexpr std::size_t most = 60;
    if (text.size() <= most) return fmt::format("“{}”", Text{text}.view());
    return fmt::format("“{}…”", Text{text.substr(0, most)}.view());
}

/// What is wrong with a pattern; empty when it can be used.
std::string whyRefused(std::string_view text) {
    if (text.empty()) return "The empty pattern would leave out nothing.";
    if (text.find('\0') != std::string_view::npos) return "A pattern can't hold a NUL, as no name does.";
    if (text.front() == '!') {
        return fmt::format("{} begins with “!”, which would take something in again; nothing can do that here. For a "
                           "name that begins so put a backslash before it.",
                           quoted(text));
    }
    std::size_t tokens = 0;
    std::size_t components = 0;
    bool isFirst = true;
    for (std::string_view rest = text; !rest.empty(); isFirst = false) {
        const std::string_view component = rest.substr(0, rest.find('/'));
        rest.remove_prefix(std::min(rest.size(), component.size() + 1));
        if (component.empty()) continue;
        if (component == ".." || (component == "." && (!isFirst || rest.empty())))
            return fmt::format("{} has “{}” between slashes, which no path of a scan has.", quoted(text), component);
        const std::size_t last = component.find_last_not_of('\\');
        if ((component.size() - (last == std::string_view::npos ? 0 : last + 1)) % 2 == 1)
            return fmt::format("{} has a backslash with nothing behind it.", quoted(text));
        tokens += NamePattern{component}.length();
        if (component != ".") ++components;
    }
    if (components == 0) return fmt::format("{} names nothing that could be left out.", quoted(text));
    if (tokens > mostTokens) return fmt::format("{} is longer than any path.", quoted(text));
    return {};
}

std::string whyNotRead(const std::string& path) {
    std::error_code error;
    const std::filesystem::file_status status = std::filesystem::status(path, error);
    if (error || !std::filesystem::exists(status))
        return (error ? error : std::make_error_code(std::errc::no_such_file_or_directory)).message();
    if (!std::filesystem::is_regular_file(status)) return "it is no regular file";
    if (std::filesystem::file_size(path, error) > mostFileBytes && !error)
        return "it has more than a mebibyte, and so is no list of patterns";
    return "no permission, or the disk fails";
}

}  // namespace

ExcludePattern ExcludePattern::parse(std::string_view text) {
    if (std::string why = whyRefused(text); !why.empty()) throw KestrelError::unavailable(why);
    return ExcludePattern{text};
}

std::vector<ExcludePattern> ExcludePattern::readFile(const std::string& path) {
    // The usual name of an empty file, which is a device.
    std::error_code error;
    if (std::filesystem::canonical(path, error) == "/dev/null") return {};
    const auto content = readSmallFile(path, mostFileBytes, FinalLink::followed);
    if (!content) {
        throw KestrelError::unavailable(
            fmt::format("The patterns in {} can't be read: {}.", Text{path}.view(), whyNotRead(path)));
    }
    if (content->find('\0') != std::string::npos) {
        throw KestrelError::unavailable(
            fmt::format("{} holds NUL bytes, and so is no list of patterns.", Text{path}.view()));
    }
    std::vector<ExcludePattern> patterns;
    std::size_t number = 0;
    for (std::string_view rest = *content; !rest.empty();) {
        std::string_view line = rest.substr(0, rest.find('\n'));
        rest.remove_prefix(std::min(rest.size(), line.size() + 1));
        ++number;
        if (line.ends_with('\r')) line.remove_suffix(1);
        if (line.empty() || line.front() == '#') continue;
        try {
            patterns.push_back(parse(line));
        } catch (const KestrelError& error) {
            throw KestrelError::unavailable(fmt::format("{}, line {}: {}", Text{path}.view(), number, error.what()));
        }
    }
    return patterns;
}

}  // namespace KestrelCore
