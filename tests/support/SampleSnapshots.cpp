#include "support/SampleSnapshots.hpp"

#include "support/Records.hpp"

#include <algorithm>
#include <array>
#include <random>
#include <vector>

namespace KestrelCore {

namespace {

using Random = std::mt19937_64;

UUID uuid(Random& random) {
    UUID id;
    for (auto& byte : id.bytes) byte = static_cast<std::uint8_t>(random());
    return id;
}

/// Mostly plain, now and then not; never equal to another, for the number in it.
std::string name(Random& random, std::size_t number) {
    static constexpr std::array stems{
        "report",      "IMG_",      "notes and plans", "Müller",           "cafe\u0301", "quo\"te",
        "back\\slash", "tab\there", "line\nend",       "\U0001F600 smile", "日本語",     "."};
    const std::size_t choice = random() % 40;
    return std::string{stems[choice < stems.size() ? choice : 0]} + std::to_string(number);
}

std::int64_t size(Random& random) {
    // All magnitudes are equally likely.
    return static_cast<std::int64_t>(random() >> (12 + random() % 52));
}

}  // namespace

ScanSnapshot sampleSnapshot(std::size_t records, std::uint64_t seed, double completedAt) {
    static constexpr std::array extensions{"txt", "jpg", "pdf", "", "mp4", "tar", "größe", "o"};
    Random random{seed};
    const std::string root = "/home/someone";
    std::vector<std::pair<std::string, int>> folders{{root, 0}};
    std::vector<FileRecord> list;
    list.reserve(records);
    for (std::size_t i = 0; i < records; ++i) {
        const auto [parent, depth] = folders[std::max(random() % folders.size(), random() % folders.size())];
        const bool isRoot = i == 0;
        const bool isFolder = isRoot || (depth < 8 && random() % 8 == 0);
        const std::string extension = isFolder ? "" : extensions[random() % extensions.size()];
        const std::string itemName = isRoot ? "someone" : name(random, i) + (extension.empty() ? "" : "." + extension);
        const std::string path = isRoot ? root : parent + "/" + itemName;
        const std::int64_t logical = size(random);
        const std::int64_t allocated = logical / 512 * 512;
        const auto modified = Date{static_cast<double>(random() % 800'000'000'000'000) / 1e6};
        list.emplace_back(uuid(random),
                          random() % 50 == 0
                              ? std::nullopt
                              : std::optional{FileIdentity{.device = 16777234 + random() % 2, .inode = random() >> 20}},
                          isRoot ? std::nullopt : std::optional{Text{parent}}, Text{path}, Text{itemName},
                          isFolder ? (random() % 20 == 0 ? FileKind::package : FileKind::directory)
                                   : (random() % 30 == 0 ? FileKind::symbolicLink : FileKind::file),
                          logical, allocated, isFolder ? size(random) : allocated,
                          random() % 60 == 0 ? std::nullopt : std::optional{modified}, Text{extension},
                          random() % 10 == 0, random() % 100 == 0, random() % 100 == 0,
                          static_cast<RiskLevel>(random() % 4));
        if (isFolder && !isRoot) folders.emplace_back(path, depth + 1);
    }
    const ScanIssue issue{"/home/someone/locked", "Permission denied"};
    return ScanSnapshot{
        uuid(random),  ScanScope{URL::fromPath(root, true)}, Date{completedAt - 12.5}, Date{completedAt}, list,
        {issue, issue}};
}

ScanSnapshot oddSnapshot(std::uint64_t seed) {
    const ScanSnapshot sample = sampleSnapshot(120, seed);
    std::vector<FileRecord> records{sample.records().begin(), sample.records().end()};
    const std::vector<FileRecord> odd{
        testing::aRecord({.path = "/", .isTop = true, .kind = FileKind::directory, .aggregate = 1'000'000'000}),
        testing::aRecord({.path = "/home", .isTop = true, .kind = FileKind::package, .aggregate = 500'000'000}),
        testing::aRecord({.path = "/home/someone/", .parent = "/home/someone", .aggregate = 77}),
        testing::aRecord({.path = "elsewhere", .isTop = true, .kind = FileKind::directory, .aggregate = 10'000}),
        testing::aRecord({.path = "elsewhere/inside", .parent = "elsewhere", .allocated = 2048}),
        testing::aRecord({.path = "/r/e\u0301/only its file has a record", .allocated = 8192}),
        testing::aRecord({.path = "/r/\u00E9/another spelling of the folder", .allocated = 512}),
        testing::aRecord({.path = "/r/\u00E9", .kind = FileKind::directory, .allocated = 4096, .aggregate = 20'000}),
        testing::aRecord({.path = "/r", .kind = FileKind::directory, .allocated = 4096, .aggregate = 3}),
        testing::aRecord({.path = "/r/file", .allocated = 4096}),
        testing::aRecord({.path = "/r/file/below a file", .allocated = 1024}),
        testing::aRecord({.path = "/r/no record/deep/below", .allocated = 1024, .isDuplicate = true}),
        testing::aRecord({.path = "/r/far", .parent = "not above it", .kind = FileKind::directory, .aggregate = 9000}),
        testing::aRecord({.path = "/r/far/x", .allocated = 3000}),
        testing::aRecord({.path = "/r/" + std::string(5000, 'n'), .allocated = 4096}),
    };
    std::mt19937_64 random{seed};
    for (const FileRecord& record : odd) {
        if (random() % 4 == 0) continue;
        records.insert(records.begin() + static_cast<std::ptrdiff_t>(random() % (records.size() + 1)), record);
    }
    std::vector<ScanIssue> issues = sample.issues();
    issues.push_back({"/r/file/locked", "Permission denied"});
    issues.push_back({"/r/files", "Permission denied"});
    issues.push_back({"elsewhere/locked", "Permission denied"});
    return ScanSnapshot{sample.id(), sample.scope(), sample.startedAt(), sample.completedAt(), records, issues};
}

ScanSnapshot sampleSnapshotOfSize(std::size_t payloadBytes, std::uint64_t seed) {
    return sampleSnapshot(std::max<std::size_t>(payloadBytes / 450, 1), seed);
}

std::string contents(const ScanSnapshot& snapshot) { return snapshot.encodedJSON(); }

}  // namespace KestrelCore
