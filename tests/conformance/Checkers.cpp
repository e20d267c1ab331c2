#include "conformance/Checkers.hpp"

#include "support/Vectors.hpp"

#include <algorithm>
#include <array>
#include <exception>
#include <ostream>
#include <set>
#include <system_error>

namespace KestrelCore::conformance {

namespace {

constexpr std::array allKinds = {
    Kind{"text-relations.json", checkTextRelations},
    Kind{"text-mappings.json", checkTextMappings},
    Kind{"natural-order.json", checkNaturalOrder},
    Kind{"urls.json", checkURLs},
    Kind{"url-strings.json", checkURLStrings},
    Kind{"json-doubles.json", checkJSONDoubles},
    Kind{"json-strings.json", checkJSONStrings},
    Kind{"json-payloads.json", checkJSONPayloads},
    Kind{"plans.json", checkPlans},
    Kind{"snapshots.json", checkSnapshots},
};

/// Makes what a terminal would hide visible: control characters become escapes.
std::string shown(std::string_view text) {
    static constexpr char digits[] = "0123456789ABCDEF";
    std::string result = "\"";
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte >= 0x20 && byte != 0x7F) {
            result += c;
        } else {
            result.append("\\x").append(1, digits[byte >> 4]).append(1, digits[byte & 15]);
        }
    }
    return result + "\"";
}

void checkFile(const std::filesystem::path& file, const Kind& kind, Summary& summary, std::ostream& out) {
    Report report{out, file.string()};
    bool isReadable = true;
    try {
        const testing::VectorFile vectors{file};
        kind.checker(vectors.root(), report);
    } catch (const std::exception& error) {
        out << file.string() << ": " << error.what() << "\n";
        isReadable = false;
    }
    ++summary.files;
    summary.comparisons += report.comparisons();
    summary.differences += report.differences() + (isReadable ? 0 : 1);
    out << file.string() << ": " << report.comparisons() << " compared, " << report.differences() << " different\n";
}

}  // namespace

void Report::expect(bool holds, const std::string& what, std::string_view expected, std::string_view actual) {
    ++comparisons_;
    if (holds) return;
    ++differences_;
    out_ << file_ << ": " << shown(what) << ": expected " << shown(expected) << ", got " << shown(actual) << "\n";
}

std::span<const Kind> kinds() { return allKinds; }

Summary checkFolder(const std::filesystem::path& folder, std::ostream& out) {
    Summary summary;
    std::set<std::string> names;
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator{folder, error}) {
        if (entry.path().extension() == ".json") names.insert(entry.path().filename().string());
    }
    if (error) {
        out << folder.string() << ": " << error.message() << "\n";
        ++summary.differences;
        return summary;
    }
    for (const Kind& kind : allKinds) {
        if (kind.checker != nullptr && names.erase(std::string{kind.fileName}) > 0) {
            checkFile(folder / kind.fileName, kind, summary, out);
        }
    }
    for (const std::string& name : names) {
        out << (folder / name).string() << ": not yet\n";
        ++summary.notYet;
    }
    return summary;
}

}  // namespace KestrelCore::conformance
