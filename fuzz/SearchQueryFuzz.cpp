#include "KestrelCore/Base/Path.hpp"
#include "KestrelCore/Snapshot/ScanSnapshot.hpp"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>
#include <vector>

namespace {

using namespace KestrelCore;

FileRecord record(const Text& path, std::size_t number) {
    return FileRecord{
        {.parentPath = Path::deletingLastComponent(path),
         .path = path,
         .name = Path::lastComponent(path),
         .kind = static_cast<FileKind>(number % 5),
         .allocatedBytes = static_cast<std::int64_t>(number % 3 * 4096),
         .aggregateAllocatedBytes = static_cast<std::int64_t>(number * 1'000'000),
         .modifiedAt = number % 4 == 0 ? std::nullopt : std::optional{Date{static_cast<double>(number) * 1e7}},
         .fileExtension = Path::extension(path).lowercased(),
         .isHidden = number % 7 == 0}};
}

ScanSnapshot snapshotOf(const std::vector<FileRecord>& records) {
    return ScanSnapshot{UUID{}, ScanScope{URL::fromPath("/")}, Date{0}, Date{0}, records, {}};
}

/// What a scan could have found: plain names and odd ones.
const ScanSnapshot& usualSnapshot() {
    static const ScanSnapshot snapshot = [] {
        std::vector<FileRecord> records;
        for (const char* path :
             {"/", "/Users/anna", "/Users/anna/report.pdf", "/Users/anna/Report 2019.docx", "/Users/anna/été/ΟΔΟΣ.txt",
              "/Users/anna/Downloads/e\u0301te\u0301.MOV", "/Users/anna/.cargo/straße", "/Users/anna/日本/한글.key",
              "/Users/anna/\u1112\u1161\u11AB/x", "/Users/anna/node_modules/a-b_c.d.js", "/Users/anna/a\r\nb",
              "/Users/anna/\u0301mark/👍🏽.png", "/Users/anna/IMG_0001.JPG", "/Users/anna/presentation.key",
              "/Users/anna/.hidden", "relative/path", "//odd//path/"}) {
            records.push_back(record(path, records.size()));
        }
        return snapshotOf(records);
    }();
    return snapshot;
}

void check(const ScanSnapshot& snapshot, const SearchQuery& query, std::int64_t limit) {
    const auto answer =
        snapshot.search(query, limit, SearchSettings{.cancellation = {}, .now = Date{8e8}, .threads = 1});
    const std::size_t most = limit <= 0 ? 0 : static_cast<std::uint64_t>(limit);
    if (!answer || answer->results.size() > most) std::abort();
    for (std::size_t i = 1; i < answer->results.size(); ++i) {
        if (answer->results[i - 1].score < answer->results[i].score) std::abort();
    }
}

}  // namespace

/// Any bytes as a query. What follows a NUL is a path of a further snapshot, which the query is asked of too.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static constexpr std::int64_t limits[] = {100, 1, 2, 0, -1, INT64_MIN, INT64_MAX, 10};
    std::string_view input{reinterpret_cast<const char*>(data), size};
    if (input.empty()) return 0;
    const std::int64_t limit = limits[static_cast<unsigned char>(input.front()) % 8];
    input.remove_prefix(1);
    std::vector<std::string_view> pieces;
    while (true) {
        const std::size_t end = input.find('\0');
        pieces.push_back(input.substr(0, end));
        if (end == std::string_view::npos) break;
        input.remove_prefix(end + 1);
    }
    const SearchQuery query{Text{pieces.front()}};
    check(usualSnapshot(), query, limit);
    if (pieces.size() == 1) return 0;
    std::vector<FileRecord> records;
    for (std::size_t i = 1; i < pieces.size(); ++i) records.push_back(record(Text{pieces[i]}, i));
    check(snapshotOf(records), query, limit);
    return 0;
}
