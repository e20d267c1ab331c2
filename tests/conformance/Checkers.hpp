#pragma once

#include <cstddef>
#include <filesystem>
#include <iosfwd>
#include <simdjson.h>
#include <span>
#include <string>
#include <string_view>

namespace KestrelCore {
class ScanSnapshot;
}

namespace KestrelCore::conformance {

/// Where a checker reports: counts what was compared and prints each difference as it is found.
class Report {
public:
    /// Differences go to `out`, each in one line that begins with `file`.
    Report(std::ostream& out, std::string file) : out_{out}, file_{std::move(file)} {}

    /// One comparison. `what` names it and its input in a failure.
    void expect(bool holds, const std::string& what, std::string_view expected, std::string_view actual);
    void expectEqual(std::string_view expected, std::string_view actual, const std::string& what) {
        expect(expected == actual, what, expected, actual);
    }
    void expectEqual(bool expected, bool actual, const std::string& what) {
        expectEqual(std::string_view{expected ? "true" : "false"}, std::string_view{actual ? "true" : "false"}, what);
    }
    void expectEqual(std::int64_t expected, std::int64_t actual, const std::string& what) {
        expectEqual(std::string_view{std::to_string(expected)}, std::string_view{std::to_string(actual)}, what);
    }

    [[nodiscard]] std::size_t comparisons() const { return comparisons_; }
    [[nodiscard]] std::size_t differences() const { return differences_; }

private:
    std::ostream& out_;
    std::string file_;
    std::size_t comparisons_ = 0;
    std::size_t differences_ = 0;
};

/// Compares one file of reference vectors with what the library gives. A malformed file throws.
using Checker = void (*)(simdjson::dom::element root, Report& report);

void checkTextRelations(simdjson::dom::element root, Report& report);
void checkTextMappings(simdjson::dom::element root, Report& report);
void checkNaturalOrder(simdjson::dom::element root, Report& report);
void checkURLs(simdjson::dom::element root, Report& report);
void checkURLStrings(simdjson::dom::element root, Report& report);
void checkJSONDoubles(simdjson::dom::element root, Report& report);
void checkJSONStrings(simdjson::dom::element root, Report& report);
void checkJSONPayloads(simdjson::dom::element root, Report& report);
void checkPlans(simdjson::dom::element root, Report& report);
void checkSnapshots(simdjson::dom::element root, Report& report);
/// The searches of one snapshot, a part of `checkSnapshots`.
void checkSearches(const ScanSnapshot& snapshot, simdjson::dom::element searches, Report& report);

/// A kind of file and what checks it. A kind without a checker is known but can't be checked yet.
struct Kind {
    std::string_view fileName;
    Checker checker;
};

/// Every kind of file, in the order in which they are checked. A new checker is registered here (Checkers.cpp).
[[nodiscard]] std::span<const Kind> kinds();

struct Summary {
    std::size_t files = 0;   ///< files that were checked
    std::size_t notYet = 0;  ///< files of kinds without a checker, and of unknown kinds
    std::size_t comparisons = 0;
    std::size_t differences = 0;  ///< a file that can't be read counts as one
};

/// Checks every file of the folder, printing differences and one closing line a file to `out`.
[[nodiscard]] Summary checkFolder(const std::filesystem::path& folder, std::ostream& out);

}  // namespace KestrelCore::conformance
