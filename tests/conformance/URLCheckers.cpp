#include "KestrelCore/Base/Path.hpp"
#include "KestrelCore/Base/URL.hpp"
#include "conformance/Checkers.hpp"
#include "support/Vectors.hpp"

namespace KestrelCore::conformance {

namespace {

using testing::textOf;
using testing::textsOf;

std::string joined(const std::vector<Text>& components) {
    std::string result;
    for (const Text& component : components) result.append(component.view()).append("|");
    return result;
}

}  // namespace

void checkURLs(simdjson::dom::element root, Report& report) {
    for (const simdjson::dom::element row : simdjson::dom::array{root}) {
        const Text input = textOf(row["input"]);
        const URL url = URL::fromPath(input);
        const auto check = [&](std::string_view key, const Text& actual) {
            report.expectEqual(std::string_view{row[key]}, actual.view(), std::string{key} + " of " + input.string());
        };
        const auto checkComponents = [&](std::string_view key, const std::vector<Text>& actual) {
            report.expectEqual(joined(textsOf(row[key])), joined(actual), std::string{key} + " of " + input.string());
        };
        check("absoluteString", url.absoluteString());
        check("path", url.path());
        check("lastPathComponent", url.lastPathComponent());
        check("pathExtension", url.pathExtension());
        checkComponents("pathComponents", url.pathComponents());
        check("standardizedPath", url.standardized().path());
        checkComponents("standardizedComponents", url.standardized().pathComponents());
        check("standardizedPath", Path::standardized(input));
        check("parent", url.deletingLastPathComponent().path());
        check("withoutExtension", url.deletingPathExtension().lastPathComponent());
        check("appending", url.appending("x.y").path());
        check("appendingNested", url.appending("Caches/com.x").path());
        check("string.lastPathComponent", Path::lastComponent(input));
        check("string.pathExtension", Path::extension(input));
        check("string.parent", Path::deletingLastComponent(input));
        check("string.withoutExtension", Path::deletingExtension(input));
    }
}

void checkURLStrings(simdjson::dom::element root, Report& report) {
    for (const simdjson::dom::element row : simdjson::dom::array{root}) {
        const Text input = textOf(row["input"]);
        const std::optional<URL> url = URL::parse(input);
        report.expectEqual(bool{row["valid"]}, url.has_value(), "valid " + input.string());
        if (!url.has_value() || !bool{row["valid"]}) continue;
        const auto check = [&](std::string_view key, const Text& actual) {
            report.expectEqual(std::string_view{row[key]}, actual.view(), std::string{key} + " of " + input.string());
        };
        check("absoluteString", url->absoluteString());
        check("path", url->path());
        check("lastPathComponent", url->lastPathComponent());
    }
}

}  // namespace KestrelCore::conformance
